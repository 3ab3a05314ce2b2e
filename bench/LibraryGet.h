// SPDX-License-Identifier: Apache-2.0
/// @file
/// The library's GET of 128 bytes.
#pragma once

#include <string>

#include <httpclient/HttpClient.h>
#include <httpclient/HttpRequest.h>
#include <httpclient/HttpResponse.h>

/// One thread's client, which asks the benchmarks' server again and again.
class LibraryGet {
public:
    LibraryGet(const std::string& host, int port, bool tls = false) : m_bTls(tls) {
        m_client.setDomain(host);
        m_client.setPort(port);
        m_client.setScheme(tls ? "https" : "http");
        m_request.setVerb(HTTPOPERATION_GET);
        m_request.setUrlPath("/128");
    }
    /// @return whether the answer was a 200.
    bool Send() {
        CHttpResponse response;
        return m_client.synSendRequest(m_request, response, m_bTls) == 200;
    }

private:
    bool m_bTls;
    CHttpClient m_client;
    CHttpRequest m_request;
};
