// SPDX-License-Identifier: Apache-2.0
/// @file
/// Secrets that leave nothing behind.
#pragma once

#include <map>
#include <string>

#include <ovexcommon/SecureMem.h>

/// Overwrites a text with zeros, and what is beyond its end, which may be left from a longer one.
inline void Cleanse(std::string& text) {
    text.resize(text.capacity());
    memset_s(text.data(), text.size(), 0, text.size());
}

/// Overwrites the values of a map.
inline void Cleanse(std::map<std::string, std::string>& entries) {
    for (auto& entry : entries) {
        Cleanse(entry.second);
    }
}

/// Wipes what it is given when it goes out of scope itself, which must be before that does.
template <class Secret> class Cleansing {
public:
    explicit Cleansing(Secret& secret) : m_secret(secret) {}
    ~Cleansing() { Cleanse(m_secret); }
    Cleansing(const Cleansing&) = delete;
    Cleansing& operator=(const Cleansing&) = delete;

private:
    Secret& m_secret;
};
