// SPDX-License-Identifier: Apache-2.0
// What a request becomes before it is sent: its URL and its header list.
#include "client/HttpClientImp.h"

#include <map>

#include <ace/OS_NS_stdlib.h>

#include <httpclient/HttpRequest.h>

#include "identity/HttpSiaToken.h"
#include "support/CurlOwners.h"
#include "support/Trace.h"

namespace {

/// The host as it stands in a URL: a bare IPv6 address gets brackets.
std::string UrlHost(const std::string& domain) {
    const bool bareIpv6 = domain.find(':') != std::string::npos && domain.find('[') == std::string::npos;
    return bareIpv6 ? "[" + domain + "]" : domain;
}

/// Appends a line to a list. When libcurl cannot, the list stays as it was.
void AppendLine(CurlSlistPtr& list, const std::string& line) {
    curl_slist* longer = curl_slist_append(list.get(), line.c_str());
    if (longer == nullptr)
        return;
    static_cast<void>(list.release()); // the old list is part of the longer one
    list.reset(longer);
}

} // namespace

// Deliberate: the port is always written, nothing stands between it and the path, nothing is escaped.
std::string CHttpClientImp::GetUrl(const CHttpRequest& request) const {
    char port[33] = {};
    ACE_OS::itoa_emulation(m_nPort, port, 10);
    return m_strScheme + "://" + UrlHost(m_strDomain) + ":" + port + request.getUrlPath();
}

curl_slist* CHttpClientImp::AppendSlist(const CHttpRequest& request) const {
    std::map<std::string, std::string> headers = request.getRequestHead();
    std::string token;
    if (CHttpSiaToken::Instance()->GetSiaToken(request.getUrlPath(), token, m_bSiaAccess) < 0)
        Trace(TraceLevel::Error, "CHttpClientImp::AppendSlist, GetSiaToken failed");
    if (!token.empty())
        headers["x-access-token"] = token; // replaces an entry of the caller's

    CurlSlistPtr list;
    std::string line;
    for (const auto& [name, value] : headers) {
        line.assign(name).append(1, ':').append(value); // no blank after the colon
        AppendLine(list, line);
    }
    return list.release();
}
