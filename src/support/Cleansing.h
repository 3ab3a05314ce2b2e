// SPDX-License-Identifier: Apache-2.0
/// @file
/// Secrets that leave nothing behind.
#pragma once

#include <string>

#include <ovexcommon/SecureMem.h>

/// Wipes a text when it goes out of scope itself, which must be before the text does.
class Cleansing {
public:
    explicit Cleansing(std::string& text) : m_text(text) {}
    ~Cleansing() {
        m_text.resize(m_text.capacity()); // what is beyond the end may be left from a longer text
        memset_s(m_text.data(), m_text.size(), 0, m_text.size());
    }
    Cleansing(const Cleansing&) = delete;
    Cleansing& operator=(const Cleansing&) = delete;

private:
    std::string& m_text;
};
