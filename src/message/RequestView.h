// SPDX-License-Identifier: Apache-2.0
/// @file
/// Reading of requests without copies.
#pragma once

#include <map>
#include <optional>
#include <string>

#include <httpclient/HttpRequest.h>

#include "message/HttpRequestImp.h"

/// What a send reads of a request. The texts of the library's own implementation are referred to; any other
/// implementation is asked through its getters, which give copies.
class RequestView {
public:
    using Head = std::map<std::string, std::string>;

    /// @param request outlives the view, and does not change meanwhile.
    RequestView(const CHttpRequest& request); // a request can be given wherever a view is read

    // Each gives a reference into the request or, where that cannot be had, to the copy that it made.
    const std::string& UrlPath(std::string& copy) const {
        return m_pOwn != nullptr ? m_pOwn->m_strUrlPath : copy = m_request.getUrlPath();
    }
    const std::string& Content(std::string& copy) const {
        return m_pOwn != nullptr ? m_pOwn->m_strContent : copy = m_request.getContent();
    }
    const std::string& Cookie(std::string& copy) const {
        return m_pOwn != nullptr ? m_pOwn->m_strCookie : copy = m_request.getCustomCookieParam();
    }
    const std::string& AcceptEncoding(std::string& copy) const;
    const Head& RequestHead(std::optional<Head>& copy) const {
        return m_pOwn != nullptr ? m_pOwn->m_mapHeadEntry : copy.emplace(m_request.getRequestHead());
    }

private:
    const CHttpRequest& m_request;
    const CHttpRequestImp* m_pOwn; ///< Null when the implementation is another.
};
