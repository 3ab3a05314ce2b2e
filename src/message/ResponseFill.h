// SPDX-License-Identifier: Apache-2.0
/// @file
/// Filling of responses without copies.
#pragma once

#include <string>

class CHttpResponse;
class CHttpResponseImp;

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

    void Body(std::string&& body);
    void Head(std::string&& head);
    /// Sets the content type, where that has not been done yet.
    void ContentType();

private:
    CHttpResponse& m_response;
    CHttpResponseImp* m_pOwn; ///< Null when the implementation is another.
    std::string m_type;       ///< For another implementation, whose setters are called in their order.
};
