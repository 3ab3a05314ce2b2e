// SPDX-License-Identifier: Apache-2.0
/// @file
/// Service-identity tokens.
#pragma once

#include <ctime>
#include <map>
#include <string>

#include <ace/Mutex.h>
#include <ace/Thread_Mutex.h>

#include <httpclient/Export.h>

/// A token, and the moment from which it is no longer used.
struct HTTPCLIENT_EXPORT SiaToken {
    std::string token;
    time_t expire_at = 0; ///< Seconds since the epoch, by the local clock. A new record is expired.
};

/// Gives outgoing requests a service-identity token.
///
/// A request's URL path is mapped to a service; the service's token comes from a cache, or from the
/// platform's token service in exchange for the process's JWT. Configuration and JWT are read once, when the
/// instance is made, and only when the environment variable "enableServiceIdentity" is exactly "true".
///
/// @par Thread Safety
/// Every operation but the loaders and the switch may be called from any number of threads. No lock is held
/// during an exchange.
///
/// @par Performance
/// A cached token costs a walk over the configured URLs and two short locks. A missing one costs an HTTPS
/// exchange on the calling thread.
class HTTPCLIENT_EXPORT CHttpSiaToken {
public:
    /// @return the process's instance, made and loaded on the first call and never destroyed.
    static CHttpSiaToken* Instance();

    /// Reads the switch from the environment anew. @return whether it is on.
    bool GetServiceIdentitySwitch();
    /// Gives the token that a request must carry.
    /// @param url the request's URL path.
    /// @param[out] token the token; untouched when none is wanted and on failure.
    /// @param bSiaAccess true: the token of "ServiceIdentityAccessService", whatever the path.
    /// @return 0, or -1 when the exchange failed.
    int GetSiaToken(const std::string& url, std::string& token, bool bSiaAccess);
    /// Drops the cached token of the path's service. Does not look at the switch.
    /// @return 0, whether or not one was cached; -1 when the path belongs to no service.
    int EraseTokenFromBuf(const std::string& url, bool bSiaAccess);
    /// @param[out] out a copy of the service's cached record; untouched when there is none.
    /// @return 0, or -1 when there is none.
    int GetTokenFromBuf(const std::string& service, SiaToken& out);
    /// @return whether the record expires later than now.
    bool IsTokenValid(const SiaToken& rec);
    /// Obtains a token from the token service.
    /// @return 0, or -1 and a log message (none when there is no JWT).
    int RequestSiaToken(const std::string& service, SiaToken& out);

    /// @return the service of a URL path; "" when there is none.
    std::string GetServiceNameByUrl(const std::string& url, bool bSiaAccess);
    /// Loads the service URL configuration. @return 0, or -1 and a log message.
    int LoadServiceUrlConf();
    /// Loads the JWT. @return 0, or -1 and a log message.
    int LoadJWTFile();
    /// @return the JWT; "" when none is loaded.
    std::string GetJwt() const;

    /// @cond INTERNAL
    /// What the second road asks of the configuration, too; not exported.
    [[gnu::visibility("hidden")]] bool isOn() const noexcept { return m_bServiceIdentity; }
    [[gnu::visibility("hidden")]] const std::map<std::string, std::string>& serviceUrls() const noexcept {
        return m_mapServiceUrl;
    }
    /// @endcond

private:
    CHttpSiaToken() = default;
    static CHttpSiaToken* MakeInstance();
    ~CHttpSiaToken() = default; // GCOVR_EXCL_LINE: never called, the instance lives until the process ends

    bool m_bServiceIdentity = false;
    std::map<std::string, std::string> m_mapServiceUrl; ///< URL pattern to service name
    std::map<std::string, SiaToken> m_mapSiaToken;      ///< service name to token
    std::string m_strJwt;
    ACE_Mutex m_TokenMutex; ///< guards m_mapSiaToken, in short sections

    static CHttpSiaToken* m_pInstance;
    static ACE_Thread_Mutex m_Mutex;
};
