// SPDX-License-Identifier: Apache-2.0
/// @file
/// What a CHttpClient holds.
#pragma once

#include <array>
#include <atomic>
#include <string>

#include <httpclient/Client.h>
#include <httpclient/HttpTransferProfile.h>

#include "client/HttpClientImp.h"

/// A client of the first road that takes the engine instead where its profile says so. A class of its own, because
/// the layout of CHttpClientImp is fixed.
///
/// @par Thread Safety
/// As CHttpClient: sends may overlap each other, settings may not change meanwhile.
class ProfiledClient final : public CHttpClientImp {
public:
    ProfiledClient();
    ~ProfiledClient() override;

    static void setDefaultProfile(HTTPTRANSFERPROFILE profile);
    void setProfile(HTTPTRANSFERPROFILE profile);
    HTTPTRANSFERPROFILE profile() const { return m_profile; }
    void setServerName(const std::string& name);

    // What a client of the engine is made with: a new value needs another one.
    void setDomain(const std::string& strDomain) override;
    void setPort(const int& nPort) override;
    void setScheme(const std::string& strScheme) override;
    void setConnectTimeout(unsigned int nTimeout) override;
    void EnableSiaAccess() override;

    int synSendRequest(const CHttpRequest& request, CHttpResponse& response, bool bSSL) override;
    void asynSendRequest(const CHttpRequest& request, void (*callback)(const CHttpResponse&),
                         bool bSSL) override;

private:
    // StrictSend.cpp
    const httpclient::Client* ClientOrReason(bool bSSL, std::string& reason) const;
    int SynSendStrictly(const CHttpRequest& request, CHttpResponse& response, bool bSSL) const;
    void AsynSendStrictly(const CHttpRequest& request, void (*callback)(const CHttpResponse&),
                          bool bSSL) const;

    // StrictClient.cpp
    bool NeedsTls(bool bSSL) const;
    const httpclient::Client& EngineClient(bool tls) const;
    std::string Origin(bool tls) const;
    httpclient::ClientOptions Options(bool tls) const;
    void ForgetEngineClients();

    HTTPTRANSFERPROFILE m_profile;
    std::string m_serverName;
    /// Made at the first send, for plain HTTP and for TLS; owned. Sends on several threads may make one.
    mutable std::array<std::atomic<const httpclient::Client*>, 2> m_engineClients{};
};
