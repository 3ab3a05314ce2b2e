// SPDX-License-Identifier: Apache-2.0
/// @file
/// What libcurl tells of an answer, and how a response is filled with it.
#pragma once

#include <cstddef>
#include <string>

#include <curl/curl.h>

#include <httpclient/Result.h>

class CHttpResponse;
class CHttpResponseImp;
class ExplainedResponse;

/// @return what the caller's function is given for a request that was never begun: an empty response of status -1. There
///         is one for all, made with the first client, so that such a request is answered where no memory is left.
/// @throw std::bad_alloc when it has not been made before
const CHttpResponse& NoAnswer();

/// @return the content type of the last response on a handle; "" when there was none.
std::string ResponseContentType(CURL* curl);

/// A content length that the server has not told; libcurl's own number for it.
constexpr double UNKNOWN_LENGTH = -1.0;

/// @return its content length in bytes, or that number.
/// @param unanswered what to answer when libcurl cannot tell at all.
double ResponseContentLength(CURL* curl, double unanswered);

/// @return the length to report: that of what was received where the server told none.
double KnownContentLength(double length, std::size_t received);

/// Hands the texts of an answer over to a response: moved into the library's own implementation, by the
/// setters to any other.
///
/// The library's own is filled whole or not at all: what needs memory is done as this is made, and nothing after
/// that can fail.
class ResponseFill {
public:
    /// @param type the content type.
    /// @throw std::bad_alloc when memory is exhausted; the response is as it was.
    ResponseFill(CHttpResponse& response, std::string&& type);

    /// Keeps why there is no answer, where the implementation is the library's own.
    static void Explain(CHttpResponse& response, httpclient::Result&& failure) noexcept;

    void Body(std::string&& body);
    void Head(std::string&& head);
    /// Sets the content type, where that has not been done yet.
    void ContentType();

private:
    static ExplainedResponse* Own(CHttpResponse& response);

    CHttpResponse& m_response;
    CHttpResponseImp* m_pOwn; ///< Null when the implementation is another.
    std::string m_type;       ///< For another implementation, whose setters are called in their order.
};
