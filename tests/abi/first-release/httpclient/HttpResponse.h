// SPDX-License-Identifier: Apache-2.0
/// @file
/// What came back from one HTTP call.
#pragma once

#include <memory>
#include <string>

#include <httpclient/Export.h>

class CHttpResponseInter;

/// One HTTP response: status, raw header text, body, content type and content length.
///
/// A send fills it through the setters. Nothing ever empties it: on a response used for a second send,
/// status, head, body and length are overwritten, but the content type of the first send stays (first value
/// wins).
///
/// @par Ownership
/// Owns everything it holds. Not copyable and not movable.
///
/// @par Thread Safety
/// No lock. Const operations may run on several threads as long as none changes the response.
///
/// @par Errors
/// No operation logs. The only exception is that of memory exhaustion (std::bad_alloc).
class HTTPCLIENT_EXPORT CHttpResponse {
public:
    /// Makes an empty response of status -1.
    CHttpResponse();
    virtual ~CHttpResponse();
    CHttpResponse(const CHttpResponse&) = delete;
    CHttpResponse& operator=(const CHttpResponse&) = delete;

    /// Stores the raw header text; the header entries stay as they are.
    void setResponseHead(const std::string& head);
    /// Adds a header entry unless one of exactly this name exists (then the old value stays).
    /// @return false when @p name is empty or consists of spaces (0x20) only; true otherwise.
    bool addResponseHeadEntry(const std::string& name, const std::string& value);
    /// @return the value of the header entry of exactly this name; "" when there is none. In a response that
    /// a
    ///         send filled, "Content-Type" is the only entry: read the others from getResponseHead().
    std::string getResponseHeadEntry(const std::string& name) const;
    /// @param index 0-based position in ascending byte order of the names.
    /// @return the value (not the name) at that position; "" when out of range.
    std::string getResponseHeadEntry(unsigned int index) const;
    /// @return the raw header text, status line and line ends included.
    std::string getResponseHead() const;
    /// @return the number of header entries.
    unsigned int getResponseHeadNums() const;

    /// @return the body.
    std::string getResponseBody() const;
    /// Stores the body.
    void setResponseBody(const std::string& body);

    /// @return the header entry "Content-Type".
    std::string getContentType() const;
    /// Adds the header entry "Content-Type"; see addResponseHeadEntry().
    bool setContentType(const std::string& type);
    /// Stores the content length, in bytes.
    void setContentLen(double length);
    /// @return the content length in bytes as the server told it (CURLINFO_CONTENT_LENGTH_DOWNLOAD), or the
    ///         length of the received body when it did not.
    double getContentLen() const;
    /// @return what follows the first "=" of the content type, unchanged to its end; "" when there is no "=",
    ///         or when it is the first character.
    std::string getCharset() const;

    /// @return the HTTP status; -1 when none was obtained.
    int getStatusCode() const;
    /// Stores the status.
    void setStatusCode(int code);

private:
    friend class ResponseFill; // the library's own filling, without copies

    std::unique_ptr<CHttpResponseInter> m_pImp;
};
