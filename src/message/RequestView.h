// SPDX-License-Identifier: Apache-2.0
/// @file
/// Reading of requests without copies.
#pragma once

#include <map>
#include <string>

class CHttpRequest;
class CHttpRequestImp;

/// What a send reads of a request. The texts of the library's own implementation are referred to; any other
/// implementation is asked through its getters, which give copies.
class RequestView {
public:
    using Head = std::map<std::string, std::string>;

    /// @param request outlives the view, and does not change meanwhile.
    explicit RequestView(const CHttpRequest& request);

    // Each gives a reference into the request or, where that cannot be had, to the copy that it made.
    const std::string& UrlPath(std::string& copy) const;
    const std::string& Content(std::string& copy) const;
    const std::string& Cookie(std::string& copy) const;
    const std::string& AcceptEncoding(std::string& copy) const;
    const Head& RequestHead(Head& copy) const;

private:
    const CHttpRequest& m_request;
    const CHttpRequestImp* m_pOwn; ///< Null when the implementation is another.
};
