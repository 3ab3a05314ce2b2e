// SPDX-License-Identifier: Apache-2.0
/// @file
/// The times of many requests as a picture in the terminal.
#pragma once

#include <string>
#include <vector>

#include "send/Sender.h"

namespace sender {

/// Draws how many requests took how long: a line for each range of times, each twice as long as the one before, with a
/// bar as long as its share. Empty where there are no times.
std::string DrawHistogram(const std::vector<Duration>& times);

} // namespace sender
