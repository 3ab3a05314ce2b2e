// SPDX-License-Identifier: Apache-2.0
/// @file
/// A service token as the engine holds it.
#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "support/Cleansing.h"

namespace httpclient::engine {

/// A token, wiped with its last owner. Immutable.
class Token {
public:
    /// @param text is fit for a header line. @param generation tells the token from all others of its engine; above 0.
    Token(std::string text, std::uint64_t generation) : m_text(std::move(text)), m_generation(generation) {
        Cleanse(text); // a short text is copied, not moved
    }
    ~Token() { Cleanse(m_text); }
    Token(const Token&) = delete;
    Token& operator=(const Token&) = delete;

    const std::string& text() const noexcept { return m_text; }
    std::uint64_t generation() const noexcept { return m_generation; }

private:
    std::string m_text;
    const std::uint64_t m_generation;
};

} // namespace httpclient::engine
