// SPDX-License-Identifier: Apache-2.0
// What a request becomes before it is sent: its URL and its header list.
#include <cstddef>
#include <optional>
#include <string>

#include <ace/OS_NS_stdlib.h>

#include <httpclient/HttpRequest.h>

#include "client/HttpClientImp.h"
#include "identity/HttpSiaToken.h"
#include "message/RequestView.h"
#include "support/Cleansing.h"
#include "support/CurlOwners.h"
#include "support/Trace.h"

namespace {

/// Appends the host as it stands in a URL: a bare IPv6 address gets brackets.
void AppendHost(std::string& url, const std::string& domain) {
    const bool bareIpv6 = domain.find(':') != std::string::npos && domain.find('[') == std::string::npos;
    if (bareIpv6) {
        url.append(1, '[').append(domain).append(1, ']');
    } else {
        url.append(domain);
    }
}

const std::string& TOKEN_HEADER =
    *new std::string("x-access-token"); // never destroyed: workers may outlive main()

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

std::string CHttpClientImp::GetUrl(const CHttpRequest& request) const {
    return UrlOf(request);
}

// Deliberate: the port is always written, nothing stands between it and the path, nothing is escaped.
std::string CHttpClientImp::UrlOf(const RequestView& request) const {
    char port[33] = {};
    ACE_OS::itoa_emulation(m_nPort, port, 10);
    std::string copy;
    const std::string& path = request.UrlPath(copy);

    std::string url;
    url.reserve(m_strScheme.size() + m_strDomain.size() + path.size() + sizeof port);
    url.append(m_strScheme).append("://");
    AppendHost(url, m_strDomain);
    url.push_back(':');
    url.append(port).append(path);
    return url;
}

curl_slist* CHttpClientImp::AppendSlist(const CHttpRequest& request) const {
    return HeaderListOf(request);
}

curl_slist* CHttpClientImp::HeaderListOf(const RequestView& request) const {
    std::optional<RequestView::Head> copyOfHead;
    const RequestView::Head& head = request.RequestHead(copyOfHead);
    std::string copyOfPath;
    std::string token;
    if (CHttpSiaToken::Instance()->GetSiaToken(request.UrlPath(copyOfPath), token, m_bSiaAccess) < 0) {
        Trace<LogMessage::TokenMissing>();
    }
    if (head.empty() && token.empty()) {
        return nullptr;
    }

    // The token's line stands where its name belongs in the order, and replaces one of the caller's.
    HeaderLines lines;
    auto entry = head.begin();
    if (!token.empty()) {
        for (; entry != head.end() && entry->first < TOKEN_HEADER; ++entry) {
            lines.Append(entry->first, entry->second);
        }
        lines.Append(TOKEN_HEADER, token);
        if (entry != head.end() && entry->first == TOKEN_HEADER) {
            ++entry;
        }
    }
    for (; entry != head.end(); ++entry) {
        lines.Append(entry->first, entry->second);
    }
    return lines.release();
}
