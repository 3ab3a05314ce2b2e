// SPDX-License-Identifier: Apache-2.0
#include <httpclient/HttpClient.h>

#include "client/ProfiledClient.h"

// Every operation forwards; without an implementation each answers a neutral value.

namespace {

/// @return the library's own implementation; null when it is another.
ProfiledClient* Own(const std::unique_ptr<CHttpClientInter>& imp) {
    return dynamic_cast<ProfiledClient*>(imp.get());
}

} // namespace

CHttpClient::CHttpClient() : m_pImp(std::make_unique<ProfiledClient>()) {}

CHttpClient::~CHttpClient() = default;

void CHttpClient::setDomain(const std::string& strDomain) {
    if (m_pImp) {
        m_pImp->setDomain(strDomain);
    }
}

void CHttpClient::setSSLSupport() {
    if (m_pImp) {
        m_pImp->setSSLSupport();
    }
}

void CHttpClient::setSSLCipherList(const std::string& strList) {
    if (m_pImp) {
        m_pImp->setSSLCipherList(strList);
    }
}

void CHttpClient::resizeConnPool(unsigned int maxConnNum, unsigned int maxConnCategory) {
    if (m_pImp) {
        m_pImp->resizeConnPool(maxConnNum, maxConnCategory);
    }
}

int CHttpClient::getConnPoolSize() {
    return m_pImp ? m_pImp->getConnPoolSize() : -1;
}

int CHttpClient::getConnAddrSize() {
    return m_pImp ? m_pImp->getConnAddrSize() : -1;
}

void CHttpClient::EnableSiaAccess() {
    if (m_pImp) {
        m_pImp->EnableSiaAccess();
    }
}

void CHttpClient::setPort(const int& nPort) {
    if (m_pImp) {
        m_pImp->setPort(nPort);
    }
}

void CHttpClient::setScheme(const std::string& strScheme) {
    if (m_pImp) {
        m_pImp->setScheme(strScheme);
    }
}

std::string CHttpClient::getScheme() {
    return m_pImp ? m_pImp->getScheme() : "";
}

void CHttpClient::setConnectTimeout(unsigned int nTimeout) {
    if (m_pImp) {
        m_pImp->setConnectTimeout(nTimeout);
    }
}

void CHttpClient::setRequestTimeout(unsigned int nTimeout) {
    if (m_pImp) {
        m_pImp->setRequestTimeout(nTimeout);
    }
}

int CHttpClient::synSendRequest(const CHttpRequest& request, CHttpResponse& response, bool bSSL) {
    return m_pImp ? m_pImp->synSendRequest(request, response, bSSL) : -1;
}

void CHttpClient::asynSendRequest(const CHttpRequest& request, void (*callback)(const CHttpResponse&),
                                  bool bSSL) {
    if (m_pImp) {
        m_pImp->asynSendRequest(request, callback, bSSL);
    }
}

void CHttpClient::setTransferProfile(HTTPTRANSFERPROFILE profile) {
    if (ProfiledClient* own = Own(m_pImp)) {
        own->setProfile(profile);
    }
}

HTTPTRANSFERPROFILE CHttpClient::getTransferProfile() const {
    const ProfiledClient* own = Own(m_pImp);
    return own != nullptr ? own->profile() : HTTPTRANSFERPROFILE_COMPATIBLE;
}

void CHttpClient::setDefaultTransferProfile(HTTPTRANSFERPROFILE profile) {
    ProfiledClient::setDefaultProfile(profile);
}

void CHttpClient::setServerName(const std::string& name) {
    if (ProfiledClient* own = Own(m_pImp)) {
        own->setServerName(name);
    }
}
