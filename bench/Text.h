// SPDX-License-Identifier: Apache-2.0
/// @file
/// Rows and objects as texts.
#pragma once

#include <cstdarg>
#include <cstdio>
#include <string>

/// @return what printf() writes, at most 511 bytes of it.
__attribute__((format(printf, 1, 2))) inline std::string Text(const char* format, ...) {
    char text[512];
    va_list arguments;
    va_start(arguments, format);
    static_cast<void>(std::vsnprintf(text, sizeof text, format, arguments));
    va_end(arguments);
    return text;
}
