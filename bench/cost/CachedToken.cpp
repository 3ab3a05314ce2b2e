// SPDX-License-Identifier: Apache-2.0
// Built without access control: configuration and cache are filled directly, so that no token
// service is needed.
#include "CachedToken.h"

#include <cstdlib>
#include <ctime>

#include "identity/HttpSiaToken.h"

namespace {

constexpr time_t ONE_DAY = 86400;

} // namespace

void SwitchIdentity(bool on) {
    setenv("enableServiceIdentity", on ? "true" : "false", 1);
    CHttpSiaToken::Instance()->GetServiceIdentitySwitch();
}

void CacheToken(const std::string& pattern) {
    CHttpSiaToken* identity = CHttpSiaToken::Instance();
    SwitchIdentity(true);
    identity->m_strJwt = "credential";
    identity->m_mapServiceUrl[pattern] = MEASURED_SERVICE;
    identity->m_mapSiaToken[MEASURED_SERVICE] = SiaToken{MeasuredToken(), time(nullptr) + ONE_DAY};
}
