// SPDX-License-Identifier: Apache-2.0
/// @file
/// A service token as the engine holds it.
#pragma once

#include <cstdint>
#include <string>

#include "identity/TokenTexts.h"
#include "support/Cleansing.h"

namespace httpclient::engine {

/// A token, wiped with its last owner. Immutable.
class Token {
public:
    /// @param text is fit for a header line. @param generation tells the token from all others of its engine; above 0.
    Token(const std::string& text, std::uint64_t generation) : m_generation(generation) {
        m_line.reserve(g_strTokenHeader.size() + text.size() + 4); // none of it is left elsewhere
        m_line.append(g_strTokenHeader).append(": ").append(text).append("\r\n");
    }
    ~Token() { Cleanse(m_line); }
    Token(const Token&) = delete;
    Token& operator=(const Token&) = delete;

    /// @return the header line that carries it, with its end: ready, so that no call copies it.
    const std::string& line() const noexcept { return m_line; }
    std::uint64_t generation() const noexcept { return m_generation; }

private:
    std::string m_line;
    const std::uint64_t m_generation;
};

} // namespace httpclient::engine
