// SPDX-License-Identifier: Apache-2.0
/// @file
/// Somebody who is on call, and has the metrics page and the log alone.
#pragma once

#include <string>

/// @param page of metrics. The log is the recorder's.
/// @return what page and log say, each for itself: "by the page: slow server, by the log: slow server".
std::string WhatIsWrong(const std::string& page);
