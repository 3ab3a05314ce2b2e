// SPDX-License-Identifier: Apache-2.0
/// @file
/// Random changes of texts; the same generator gives the same changes.
#pragma once

#include <random>
#include <string>

/// Changes a text in one place: something of HTTP is put in, bytes go, one becomes another, a part is repeated.
void Change(std::string& text, std::mt19937& random);
