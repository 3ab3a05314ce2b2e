// SPDX-License-Identifier: Apache-2.0
#include "client/HttpClientImp.h"

#include <httpclient/HttpConnectionMgr.h>

#include "client/ResponseFill.h"
#include "identity/HttpSiaToken.h"
#include "support/Trace.h"

CHttpClientInter::~CHttpClientInter() = default;

CHttpClientImp::CHttpClientImp() {
    // So that the service-identity configuration is loaded before the first request.
    CHttpSiaToken::Instance();
    static_cast<void>(NoAnswer());
}

CHttpClientImp::~CHttpClientImp() {
    if (m_curl != nullptr) {
        curl_easy_cleanup(m_curl);
        m_curl = nullptr;
    }
}

void CHttpClientImp::setDomain(const std::string& strDomain) {
    if (strDomain.empty()) {
        Trace<LogMessage::SetDomainEmpty>();
        return;
    }
    m_strDomain = strDomain;
}

std::string CHttpClientImp::getDomain() {
    return m_strDomain;
}

void CHttpClientImp::setSSLSupport() {
    m_bSSL = true;
}

// Deliberate: the list is not kept, so that the call changes nothing unless a synchronous send is under way.
void CHttpClientImp::setSSLCipherList(const std::string& strList) {
    curl_easy_setopt(m_curl, CURLOPT_SSL_CIPHER_LIST, strList.c_str());
}

void CHttpClientImp::resizeConnPool(unsigned int maxConnNum, unsigned int maxConnCategory) {
    CHttpConnectionMgr::Instance()->ResizeConnPool(maxConnNum, maxConnCategory);
}

int CHttpClientImp::getConnPoolSize() {
    return static_cast<int>(CHttpConnectionMgr::Instance()->GetConnPoolSize());
}

int CHttpClientImp::getConnAddrSize() {
    return static_cast<int>(CHttpConnectionMgr::Instance()->GetConnAddrSize());
}

void CHttpClientImp::setPort(const int& nPort) {
    m_nPort = nPort;
}

int CHttpClientImp::getPort() {
    return m_nPort;
}

void CHttpClientImp::EnableSiaAccess() {
    m_bSiaAccess = true;
}

void CHttpClientImp::setScheme(const std::string& strScheme) {
    m_strScheme = strScheme;
}

std::string CHttpClientImp::getScheme() {
    return m_strScheme;
}

void CHttpClientImp::setConnectTimeout(unsigned int nTimeout) {
    m_nConnectTimeout = nTimeout;
}

void CHttpClientImp::setRequestTimeout(unsigned int nTimeout) {
    m_nRequestTimeout = nTimeout;
}
