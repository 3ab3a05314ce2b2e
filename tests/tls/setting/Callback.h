// SPDX-License-Identifier: Apache-2.0
/// @file
/// Where asynchronous sends report to.
#pragma once

#include <cstddef>
#include <string>

class CHttpClient;
class CHttpRequest;

/// What an asynchronous send reported.
struct AsynResult {
    int status = 0;
    std::string body;
};

/// Sends asynchronously and waits for the callback and for the worker's end.
/// @throw std::runtime_error when they do not come.
AsynResult AsynSend(CHttpClient& client, const CHttpRequest& request, bool bSSL);
