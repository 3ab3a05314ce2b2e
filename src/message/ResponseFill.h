// SPDX-License-Identifier: Apache-2.0
/// @file
/// Filling of responses without copies.
#pragma once

#include <string>

class CHttpResponse;
class CHttpResponseImp;

/// Hands the texts of an answer over to a response: moved into the library's own implementation, by the
/// setters to any other.
class ResponseFill {
public:
    explicit ResponseFill(CHttpResponse& response);

    void Body(std::string&& body);
    void Head(std::string&& head);
    void ContentType(std::string&& type);

private:
    CHttpResponse& m_response;
    CHttpResponseImp* m_pOwn; ///< Null when the implementation is another.
};
