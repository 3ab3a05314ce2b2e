// SPDX-License-Identifier: Apache-2.0
/// @file
/// Keeps a body that nobody reads from being taken for the next answer.
#pragma once

#include <cstddef>
#include <string>

#include <curl/curl.h>

/// Ends the handle's network connection if the server may yet send a body on it that libcurl does not read.
///
/// A HEAD leaves its options on the handle, and takes the method that others left. Either way a request goes
/// out under a method whose answer has a body, and libcurl stops at the head. Read late, the body would be
/// taken for the answer to the next request.
/// @param curl the handle of a transfer that succeeded.
/// @param status the response's.
/// @param response what the transfer was to receive, from @p begin on.
void EndConnectionOfUnreadBody(CURL* curl, int status, const std::string& response, std::size_t begin);
