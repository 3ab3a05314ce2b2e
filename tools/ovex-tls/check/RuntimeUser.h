// SPDX-License-Identifier: Apache-2.0
/// @file
/// Checking with the eyes of the process's own user.
#pragma once

#include <string>

/// Becomes another user for good. @throw Failure
void BecomeUser(const std::string& name);
