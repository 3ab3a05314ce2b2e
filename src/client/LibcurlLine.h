// SPDX-License-Identifier: Apache-2.0
/// @file
/// What may be logged of the lines that libcurl says.
#pragma once

#include <optional>
#include <string>

/// @param line an informational line of libcurl; may be null.
/// @return the line without what may be a secret in it: the value of a header, what stands before the "@" of a
///         URL, its query. Nothing when it holds no such thing and may be logged as it is.
std::optional<std::string> WithoutSecrets(const char* line);
