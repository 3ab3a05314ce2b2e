// SPDX-License-Identifier: Apache-2.0
/// @file
/// The verbs that can be sent.
#pragma once

#include <array>

#include <httpclient/HttpOperationType.h>

/// A verb and its name.
struct Verb {
    HTTPOPERATIONTYPE type;
    const char* name;
};

/// Each verb that can be sent.
constexpr std::array<Verb, 5> VERBS{{{HTTPOPERATION_GET, "GET"},
                                     {HTTPOPERATION_PUT, "PUT"},
                                     {HTTPOPERATION_POST, "POST"},
                                     {HTTPOPERATION_DELETE, "DELETE"},
                                     {HTTPOPERATION_HEAD, "HEAD"}}};
