// SPDX-License-Identifier: Apache-2.0
/// @file
/// The header entries that requests have setters and getters for.
#pragma once

#include <array>
#include <string>

#include <httpclient/HttpRequest.h>

struct WellKnownEntry {
    const char* name;
    bool (CHttpRequest::*set)(const std::string&);
    std::string (CHttpRequest::*get)() const; ///< Null: there is no getter.
};

inline constexpr std::array<WellKnownEntry, 8> WELL_KNOWN_ENTRIES{{
    {"Content-Type", &CHttpRequest::setContentType, &CHttpRequest::getContentType},
    {"Content-Encoding", &CHttpRequest::setContentEncoding, &CHttpRequest::getContentEncoding},
    {"Content-Language", &CHttpRequest::setContentLanguage, &CHttpRequest::getContentLanguage},
    {"Accept-Charset", &CHttpRequest::setAcceptCharset, &CHttpRequest::getAcceptCharset},
    {"Accept-Language", &CHttpRequest::setAcceptLanguage, &CHttpRequest::getAcceptLanguage},
    {"Accept-Encoding", &CHttpRequest::setAcceptEncoding, &CHttpRequest::getAcceptEncoding},
    {"Accept_MIME", &CHttpRequest::setAccept, &CHttpRequest::getAccept},
    {"XX-Forward-Filter", &CHttpRequest::setForwardFilter, nullptr},
}};
