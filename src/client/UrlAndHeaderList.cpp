// SPDX-License-Identifier: Apache-2.0
// What a request becomes before it is sent: its URL and its header list.
#include <map>
#include <string>
#include <utility>

#include <ace/OS_NS_stdlib.h>

#include <httpclient/HttpRequest.h>

#include "client/HttpClientImp.h"
#include "client/UrlHost.h"
#include "identity/HttpSiaToken.h"
#include "identity/TokenTexts.h"
#include "support/Cleansing.h"
#include "support/CurlOwners.h"
#include "support/Trace.h"

namespace {

/// A header list as it grows.
class HeaderLines {
public:
    /// Appends a line, without a blank after the colon. When libcurl cannot, the list stays as it was.
    void Append(const std::string& name, const std::string& value) {
        std::string line;
        line.reserve(name.size() + 1 + value.size()); // so that it leaves no memory behind as it grows
        const Cleansing cleansing(line); // it may hold a token, or what a host authorizes itself with
        line.append(name).append(1, ':').append(value);
        curl_slist* longer = curl_slist_append(m_list.get(), line.c_str());
        if (longer == nullptr) {
            return;
        }
        static_cast<void>(m_list.release()); // the old list is part of the longer one
        m_list.reset(longer);
    }
    curl_slist* release() { return m_list.release(); }

private:
    CurlSlistPtr m_list;
};

} // namespace

// Deliberate: the port is always written, nothing stands between it and the path, nothing is escaped.
std::string CHttpClientImp::GetUrl(const CHttpRequest& request) const {
    char port[33] = {};
    ACE_OS::itoa_emulation(m_nPort, port, 10);
    const std::string path = request.getUrlPath();

    std::string url;
    url.reserve(m_strScheme.size() + m_strDomain.size() + path.size() + sizeof port);
    url.append(m_strScheme).append("://");
    AppendUrlHost(url, m_strDomain);
    url.push_back(':');
    url.append(port).append(path);
    return url;
}

curl_slist* CHttpClientImp::AppendSlist(const CHttpRequest& request) const {
    std::map<std::string, std::string> head = request.getRequestHead();
    std::string token;
    const Cleansing headCleansing(head); // a host may authorize itself with what stands there
    const Cleansing tokenCleansing(token);
    if (CHttpSiaToken::Instance()->GetSiaToken(request.getUrlPath(), token, m_bSiaAccess) < 0) {
        Trace<LogMessage::TokenMissing>();
    }
    if (!token.empty()) {
        std::string& value = head[g_strTokenHeader];
        Cleanse(value); // the caller's own: a short one would stay in the entry, beside the longer one
        value = std::move(token);
    }
    HeaderLines lines;
    for (const auto& [name, value] : head) {
        lines.Append(name, value);
    }
    return lines.release();
}
