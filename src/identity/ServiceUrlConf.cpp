// SPDX-License-Identifier: Apache-2.0
// The service URL configuration: loading, and matching of URL paths.
#include <string_view>

#include <json/value.h>

#include "identity/AuthConfig.h"
#include "identity/HttpSiaToken.h"
#include "support/Cancellation.h"
#include "support/JsonFile.h"
#include "support/Trace.h"

namespace {

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
    int result = -1;
    const auto load = [&] {
        Json::Value root;
        switch (ReadJsonFile(AuthConfigPath("service_url_config.json"), false, root)) {
        case JsonFileResult::NotOpened:
            Trace<LogMessage::ServiceUrlsNotOpened>();
            return;
        case JsonFileResult::NotParsed:
            Trace<LogMessage::ServiceUrlsNotParsed>();
            return;
        case JsonFileResult::Ok:
            break;
        }
        // Deliberate: what was stored before a fault stays.
        for (const std::string& name : root.getMemberNames()) {
            if (name.empty() || root[name]["type"].asString() != "sia") {
                continue;
            }
            m_mapServiceUrl[name] = root[name]["service"].asString();
        }
        Trace<LogMessage::ServiceUrlsLoaded>(static_cast<int>(m_mapServiceUrl.size()));
        result = 0;
    };
    if (!Contained(load)) {
        Trace<LogMessage::ServiceUrlsNotRead>();
    }
    return result;
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
