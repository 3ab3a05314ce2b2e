// SPDX-License-Identifier: Apache-2.0
/// @file
/// How a request of the first road is sent over the engine.
#pragma once

#include <map>
#include <memory>
#include <string>

#include <httpclient/Request.h>

class CHttpRequest;
class CHttpRequestImp;

/// Turns a CHttpRequest into a request of the engine: each rule of the STRICT profile about requests is one function.
///
/// The engine says what else may not go out, so that each rule is in one place.
class StrictRequest {
public:
    /// Who has the body while the call lasts.
    enum class Text { Copied, Lent };

    /// Reads a request once; one that is not exactly the library's own through its getters. @param timeoutSeconds of the call; 0: none.
    /// @param text Lent: the request outlives the call and does not change meanwhile, so its body is not copied.
    /// @throw std::bad_alloc, and what getters of the host's throw.
    static httpclient::Request From(const CHttpRequest& request, unsigned int timeoutSeconds, Text text);

private:
    using Body = httpclient::Request::Body;
    using Entries = std::map<std::string, std::string>;

    explicit StrictRequest(const CHttpRequest& request);
    void SetMethod();
    void SetTarget();
    void SetHead();
    void SetBody(Text text);
    void PlaceParameters();

    void TakeEntries(const Entries& entries, const std::string& cookie);
    void SetCookie(const Entries& entries, const std::string& cookie);
    void SetEntry(const std::string& name, const std::string& value);
    std::string Parameters();
    bool IsFormMethod() const;

    const CHttpRequest& m_request;
    const CHttpRequestImp* m_pOwn; ///< Null when the implementation is another.
    std::unique_ptr<Body> m_body;
    bool m_defaultContentType = true;
};
