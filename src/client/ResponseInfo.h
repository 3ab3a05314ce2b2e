// SPDX-License-Identifier: Apache-2.0
/// @file
/// What libcurl tells of the last response on a handle.
#pragma once

#include <cstddef>
#include <string>

#include <curl/curl.h>

/// @return the content type; "" when there was none.
std::string ResponseContentType(CURL* curl);

/// @return the content length in bytes, -1.0 when unknown.
/// @param unanswered what to answer when libcurl cannot tell at all.
double ResponseContentLength(CURL* curl, double unanswered);

/// @return the length to report: that of what was received where the server told none.
double KnownContentLength(double length, std::size_t received);
