// SPDX-License-Identifier: Apache-2.0
/// @file
/// What libcurl makes of the bytes of a server.
#pragma once

#include <string>

#include "http1/Answers.h"

/// What libcurl makes of an answer.
struct LibcurlReading {
    bool answered = false; ///< libcurl says that the transfer went well
    std::string error;     ///< otherwise what it says
    int status = 0;
    httpclient::http1::FieldList fields; ///< of the final answer, in order, without trailers
    std::string body;
};

/// Gives libcurl an answer that lies ready in a socket before it asks, and the connection's end behind it. Codings are
/// undone as the answer's row says.
LibcurlReading ReadByLibcurl(const httpclient::http1::Answer& answer);
