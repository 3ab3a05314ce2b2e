// SPDX-License-Identifier: Apache-2.0
/// @file
/// The samples as a picture.
#pragma once

#include <string>

#include "Samples.h"

/// @return an SVG drawing: one panel per kind of number, over time.
std::string Draw(const Samples& samples, const std::string& title);
