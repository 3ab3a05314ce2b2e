// SPDX-License-Identifier: Apache-2.0
/// @file
/// Passwords and tokens that can be told from everything else.
#pragma once

#include <string>

/// Makes a secret: every one of these suites is made here. A test after which the log holds a part of one, at
/// whatever level and of whatever thread, fails.
/// @param name what tells it from other secrets.
std::string Secret(const std::string& name);
