// SPDX-License-Identifier: Apache-2.0
/// @file
/// Calls into libcurl as lines of text, so that whole sequences can be compared and read.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "interpose/CurlRecorder.h"

/// Turns recorded calls into lines such as "setopt NOSIGNAL=1", "setopt WRITEDATA=response" and "perform".
class CurlTranscript {
public:
    /// Starts with the names of the library's own callbacks.
    CurlTranscript();
    /// Gives a pointer a name; one without name is written as "a pointer".
    CurlTranscript& Name(const void* pointer, const std::string& name);
    /// Writes a part of texts differently, a server's address and port, say.
    CurlTranscript& Replace(const std::string& from, const std::string& to);

    std::vector<std::string> Of(const std::vector<httpclient::testing::CurlEvent>& events) const;

private:
    std::string Line(const httpclient::testing::CurlEvent& event) const;
    std::string Value(const httpclient::testing::CurlEvent& event) const;
    std::string PointerName(const void* pointer) const;

    std::map<const void*, std::string> m_names;
    std::vector<std::pair<std::string, std::string>> m_replacements;
};
