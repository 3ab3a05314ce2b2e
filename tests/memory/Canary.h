// SPDX-License-Identifier: Apache-2.0
/// @file
/// Secrets that both processes know and neither tells the other: whoever reads one in memory knows that it was put there.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

/// @return a secret, of letters alone; by its name, which is no part of it.
inline std::string Canary(std::string_view name) {
    constexpr std::size_t LENGTH = 64;
    constexpr std::uint64_t FIRST = 14695981039346656037U; // FNV-1a, then its product again and again
    constexpr std::uint64_t FACTOR = 1099511628211U;
    std::uint64_t state = FIRST;
    for (const char c : name) {
        state = (state ^ static_cast<unsigned char>(c)) * FACTOR;
    }
    std::string text(LENGTH, '\0');
    for (char& c : text) {
        state = state * FACTOR + 1;
        c = static_cast<char>('a' + (state >> 40U) % 26U);
    }
    return text;
}
