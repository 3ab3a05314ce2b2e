// SPDX-License-Identifier: Apache-2.0
// The identity's configuration: its two files, and what is asked of them. The text of the JWT is never logged, nor is the
// directory that it lies in.
#include <json/value.h>

#include <ovexcommon/OvexCommonUtils.h>

#include "identity/HttpSiaToken.h"
#include "identity/ServiceMatch.h"
#include "support/JsonFile.h"
#include "support/Trace.h"

namespace {

/// The directory below the application's root; never destroyed, so that threads that outlive main() may still use it.
const std::string& AUTH_CONF_DIR = *new std::string("/etc/authconf/jwt/");

/// @return the full path of a file: the value of APP_ROOT, the directory, the name, joined as they are.
std::string AuthConfigPath(const std::string& fileName) {
    return OvexCommonUtils::Ovexgetenv("APP_ROOT") + AUTH_CONF_DIR + fileName;
}

} // namespace

int CHttpSiaToken::LoadServiceUrlConf() {
    const auto path = [] { return AuthConfigPath("service_url_config.json"); };
    const auto take = [&](Json::Value& root) {
        // Deliberate: what was stored before a fault stays.
        for (const std::string& name : root.getMemberNames()) {
            if (name.empty() || root[name]["type"].asString() != "sia") {
                continue;
            }
            m_mapServiceUrl[name] = root[name]["service"].asString();
        }
        Trace<LogMessage::ServiceUrlsLoaded>(static_cast<int>(m_mapServiceUrl.size()));
    };
    const bool loaded = LoadJsonFile<LogMessage::ServiceUrlsNotOpened, LogMessage::ServiceUrlsNotParsed,
                                     LogMessage::ServiceUrlsNotRead>("", path, false, take);
    return loaded ? 0 : -1;
}

std::string CHttpSiaToken::GetServiceNameByUrl(const std::string& url, bool bSiaAccess) {
    const std::string* service = FindService(m_mapServiceUrl, url, bSiaAccess);
    return service != nullptr ? *service : std::string();
}

int CHttpSiaToken::LoadJWTFile() {
    const std::string fileName = "jwt_" + OvexCommonUtils::Ovexgetenv("APP_NAME") + ".json";
    const auto path = [&] { return AuthConfigPath(fileName); };
    const auto take = [&](Json::Value& root) {
        m_strJwt = root["jwt"].asString();
        Trace<LogMessage::CredentialLoaded>(fileName.c_str(), static_cast<int>(m_strJwt.size()));
    };
    const bool loaded = LoadJsonFile<LogMessage::CredentialNotOpened, LogMessage::CredentialNotParsed,
                                     LogMessage::CredentialNotRead>(fileName, path, false, take);
    return loaded ? 0 : -1;
}

std::string CHttpSiaToken::GetJwt() const {
    return m_strJwt;
}
