// SPDX-License-Identifier: Apache-2.0
/// @file
/// A text that is overwritten before its memory is given back.
#pragma once

#include <string>
#include <utility>

#include <openssl/crypto.h>

class Secret {
public:
    Secret() = default;
    explicit Secret(std::string&& text) : m_text(std::move(text)) { Wipe(text); }
    Secret(Secret&& other) noexcept : m_text(std::move(other.m_text)) { Wipe(other.m_text); }
    Secret& operator=(Secret&& other) noexcept {
        if (this != &other) {
            Wipe(m_text);
            m_text = std::move(other.m_text);
            Wipe(other.m_text);
        }
        return *this;
    }
    Secret(const Secret&) = delete;
    Secret& operator=(const Secret&) = delete;
    ~Secret() { Wipe(m_text); }

    const std::string& Text() const { return m_text; }
    bool Empty() const { return m_text.empty(); }

    /// Overwrites all that the string has room for: what it held earlier, and the short form inside it, too.
    static void Wipe(std::string& text) {
        text.resize(text.capacity()); // NOLINT(clang-analyzer-cplusplus.Move): what was moved from, too
        OPENSSL_cleanse(text.data(), text.size());
        text.clear();
    }

private:
    std::string m_text;
};
