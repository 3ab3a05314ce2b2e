// SPDX-License-Identifier: Apache-2.0
#include "engine/identity/Configured.h"

#include "identity/HttpSiaToken.h"
#include "identity/ServiceMatch.h"

namespace httpclient::engine {

void ReadIdentity() {
    CHttpSiaToken::Instance();
}

const std::string* ServiceOf(std::string_view target, bool access) {
    const CHttpSiaToken& configured = *CHttpSiaToken::Instance();
    if (!configured.isOn() || GoesToExchange(target)) {
        return nullptr;
    }
    return FindService(configured.serviceUrls(), target, access);
}

std::string Credential() {
    return CHttpSiaToken::Instance()->GetJwt();
}

} // namespace httpclient::engine
