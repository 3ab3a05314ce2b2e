// SPDX-License-Identifier: Apache-2.0
/// @file
/// Where asynchronous sends report to.
#pragma once

#include <cstddef>
#include <string>

class CHttpClient;
class CHttpRequest;
class CHttpResponse;

/// What an asynchronous send reported.
struct AsynResult {
    int status = 0;
    std::string body;
    std::string failure; ///< as FailureOf() has it
};

/// @return what a response says of its failure: "kind in phase"; empty when it tells of none.
std::string FailureOf(const CHttpResponse& response);

/// Sends asynchronously and waits for the callback and, under the COMPATIBLE profile, for the worker's end.
/// @throw std::runtime_error when they do not come.
AsynResult AsynSend(CHttpClient& client, const CHttpRequest& request, bool bSSL);
