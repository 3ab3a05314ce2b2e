// SPDX-License-Identifier: Apache-2.0
#include "client/ProfiledClient.h"

namespace {

std::atomic<HTTPTRANSFERPROFILE> g_defaultProfile{HTTPTRANSFERPROFILE_COMPATIBLE};

bool IsProfile(HTTPTRANSFERPROFILE profile) {
    return profile == HTTPTRANSFERPROFILE_COMPATIBLE || profile == HTTPTRANSFERPROFILE_STRICT;
}

} // namespace

ProfiledClient::ProfiledClient() : m_profile(g_defaultProfile.load(std::memory_order_relaxed)) {}

ProfiledClient::~ProfiledClient() {
    m_curl = nullptr; // the pool's: exit() amid a send, called by the log, destroys a static client
    ForgetEngineClients();
}

void ProfiledClient::setDefaultProfile(HTTPTRANSFERPROFILE profile) {
    if (IsProfile(profile)) {
        g_defaultProfile.store(profile, std::memory_order_relaxed);
    }
}

void ProfiledClient::setProfile(HTTPTRANSFERPROFILE profile) {
    if (IsProfile(profile)) {
        m_profile = profile;
    }
}

void ProfiledClient::setServerName(const std::string& name) {
    m_serverName = name;
    ForgetEngineClients();
}

void ProfiledClient::setDomain(const std::string& strDomain) {
    if (strDomain != m_strDomain) {
        CHttpClientImp::setDomain(strDomain);
        ForgetEngineClients();
    }
}

void ProfiledClient::setPort(const int& nPort) {
    if (nPort != m_nPort) {
        CHttpClientImp::setPort(nPort);
        ForgetEngineClients();
    }
}

void ProfiledClient::setScheme(const std::string& strScheme) {
    if (strScheme != m_strScheme) {
        CHttpClientImp::setScheme(strScheme);
        ForgetEngineClients();
    }
}

void ProfiledClient::setConnectTimeout(unsigned int nTimeout) {
    if (nTimeout != m_nConnectTimeout) {
        CHttpClientImp::setConnectTimeout(nTimeout);
        ForgetEngineClients();
    }
}

void ProfiledClient::EnableSiaAccess() {
    CHttpClientImp::EnableSiaAccess();
    ForgetEngineClients();
}

int ProfiledClient::synSendRequest(const CHttpRequest& request, CHttpResponse& response, bool bSSL) {
    return m_profile == HTTPTRANSFERPROFILE_STRICT ? SynSendStrictly(request, response, bSSL)
                                                   : CHttpClientImp::synSendRequest(request, response, bSSL);
}

void ProfiledClient::asynSendRequest(const CHttpRequest& request, void (*callback)(const CHttpResponse&),
                                     bool bSSL) {
    if (m_profile == HTTPTRANSFERPROFILE_STRICT) {
        AsynSendStrictly(request, callback, bSSL);
    } else {
        CHttpClientImp::asynSendRequest(request, callback, bSSL);
    }
}
