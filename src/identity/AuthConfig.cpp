// SPDX-License-Identifier: Apache-2.0
// The identity's configuration: which URL paths belong to which service, and the process's JWT. The text of the JWT is
// never logged, nor is the directory that it lies in.
#include <string_view>

#include <json/value.h>

#include <ovexcommon/OvexCommonUtils.h>

#include "identity/HttpSiaToken.h"
#include "support/JsonFile.h"
#include "support/Trace.h"

namespace {

/// The directory below the application's root; never destroyed, so that threads that outlive main() may still use it.
const std::string& AUTH_CONF_DIR = *new std::string("/etc/authconf/jwt/");

/// @return the full path of a file: the value of APP_ROOT, the directory, the name, joined as they are.
std::string AuthConfigPath(const std::string& fileName) {
    return OvexCommonUtils::Ovexgetenv("APP_ROOT") + AUTH_CONF_DIR + fileName;
}

/// Removes one "/" from the end, if there is one.
void StripSlash(std::string_view& text) {
    if (!text.empty() && text.back() == '/') {
        text.remove_suffix(1);
    }
}

/// Matches a pattern without "*". Deliberate: the path loses one final "/" and stays so for later patterns.
bool MatchesExactly(std::string_view pattern, std::string_view& path) {
    StripSlash(path);
    StripSlash(pattern);
    return path == pattern;
}

/// Matches a pattern with "*" at the given position; what follows the "*" is ignored.
bool MatchesPrefix(const std::string& pattern, std::string::size_type star, std::string_view path) {
    return path.substr(0, star) == std::string_view(pattern).substr(0, star);
}

bool Matches(const std::string& pattern, std::string_view& path) {
    const std::string::size_type star = pattern.find('*');
    return star == std::string::npos ? MatchesExactly(pattern, path) : MatchesPrefix(pattern, star, path);
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
    if (bSiaAccess) {
        return "ServiceIdentityAccessService";
    }
    if (url.empty() || m_mapServiceUrl.empty()) {
        return "";
    }
    std::string_view path = std::string_view(url).substr(0, url.find('?'));
    for (const auto& [pattern, service] : m_mapServiceUrl) {
        if (Matches(pattern, path)) {
            return service;
        }
    }
    return "";
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
