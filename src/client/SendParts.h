// SPDX-License-Identifier: Apache-2.0
/// @file
/// What both sends read of a request.
#pragma once

#include <string>

#include <httpclient/HttpOperationType.h>

class CHttpRequest;

/// What becomes of the body that a request has of its own.
enum class OwnBody {
    Sent,   ///< unless it is empty, it is the content, whatever the parameters are
    Ignored ///< it is not even asked for
};

/// A request as a send sees it. What is not here goes into the URL by CHttpClientImp::GetUrl() and into the header
/// list by CHttpClientImp::AppendSlist().
struct SendParts {
    /// Reads the request, once and through its getters.
    /// @param urlWithoutParameters the request's.
    SendParts(const CHttpRequest& request, std::string urlWithoutParameters, OwnBody ownBody);
    /// Wipes what may be secret.
    ~SendParts();
    SendParts(const SendParts&) = delete;
    SendParts& operator=(const SendParts&) = delete;

    HTTPOPERATIONTYPE verb;
    std::string url;     ///< With the parameters of a GET or a DELETE.
    std::string content; ///< The parameters of any other verb, or the request's own body.
    std::string cookie;
    std::string acceptEncoding;

private:
    SendParts(HTTPOPERATIONTYPE requestVerb, std::string&& urlWithoutParameters);
    void PlaceParameters(const CHttpRequest& request);
};
