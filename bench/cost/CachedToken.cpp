// SPDX-License-Identifier: Apache-2.0
// Built without access control: configuration and cache are filled directly, so that no token
// service is needed.
#include "CachedToken.h"

#include <cstdlib>
#include <ctime>

#include "identity/HttpSiaToken.h"

namespace {

constexpr const char* SERVICE = "MeasuredService";
constexpr size_t TOKEN_LENGTH = 800; // that of a usual signed token
constexpr time_t ONE_DAY = 86400;

} // namespace

std::string MeasuredToken() {
    return std::string(TOKEN_LENGTH, 't');
}

void SwitchIdentity(bool on) {
    setenv("enableServiceIdentity", on ? "true" : "false", 1);
    CHttpSiaToken::Instance()->GetServiceIdentitySwitch();
}

void CacheToken(const std::string& pattern) {
    CHttpSiaToken* identity = CHttpSiaToken::Instance();
    SwitchIdentity(true);
    identity->m_mapServiceUrl[pattern] = SERVICE;
    identity->m_mapSiaToken[SERVICE] = SiaToken{MeasuredToken(), time(nullptr) + ONE_DAY};
}
