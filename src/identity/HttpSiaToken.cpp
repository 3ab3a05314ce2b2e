// SPDX-License-Identifier: Apache-2.0
// The singleton and its token cache.
#include "identity/HttpSiaToken.h"

#include <memory>
#include <utility>

#include <ace/Guard_T.h>

#include <ovexcommon/OvexCommonUtils.h>

#include "identity/ServiceMatch.h"
#include "support/Cleansing.h"
#include "support/Published.h"
#include "support/Trace.h"

CHttpSiaToken* CHttpSiaToken::m_pInstance = nullptr;
ACE_Thread_Mutex CHttpSiaToken::m_Mutex;

namespace {

// Should taking the lock fail, the operation goes on without it.
using TokenGuard = ACE_Guard<ACE_Mutex>;

} // namespace

CHttpSiaToken* CHttpSiaToken::Instance() {
    CHttpSiaToken* instance = LoadPublished(m_pInstance);
    return instance != nullptr ? instance : MakeInstance();
}

CHttpSiaToken* CHttpSiaToken::MakeInstance() {
    const ACE_Guard<ACE_Thread_Mutex> guard(m_Mutex);
    CHttpSiaToken* instance = LoadPublished(m_pInstance);
    if (instance != nullptr) {
        return instance;
    }

    const auto destroy = [](CHttpSiaToken* token) { delete token; };
    std::unique_ptr<CHttpSiaToken, decltype(destroy)> created(new CHttpSiaToken, destroy);
    if (created->GetServiceIdentitySwitch()) {
        created->LoadServiceUrlConf();
        created->LoadJWTFile();
    }
    Publish(m_pInstance, created.get());
    return created.release();
}

bool CHttpSiaToken::GetServiceIdentitySwitch() {
    m_bServiceIdentity = OvexCommonUtils::Ovexgetenv("enableServiceIdentity") == "true";
    return m_bServiceIdentity;
}

int CHttpSiaToken::GetSiaToken(const std::string& url, std::string& token, bool bSiaAccess) {
    if (!m_bServiceIdentity) {
        return 0;
    }
    // The exchange's own request travels this way, too, and must not ask for a token.
    if (GoesToExchange(url)) {
        return 0;
    }
    const std::string service = GetServiceNameByUrl(url, bSiaAccess);
    if (service.empty()) {
        Trace<LogMessage::TokenNotNeeded>(url.c_str());
        return 0;
    }
    Trace<LogMessage::TokenService>(url.c_str(), service.c_str());

    SiaToken rec;
    const Cleansing cleansing(rec.token);
    if (GetTokenFromBuf(service, rec) == 0 && IsTokenValid(rec)) {
        token = std::move(rec.token);
        Trace<LogMessage::TokenFromCache>(static_cast<int>(token.size()));
        return 0;
    }
    const int result = RequestSiaToken(service, rec);
    if (result != 0) {
        return result; // an expired entry stays
    }

    const TokenGuard guard(m_TokenMutex);
    SiaToken& kept = m_mapSiaToken[service];
    kept.token.swap(rec.token); // the former one is wiped
    kept.expire_at = rec.expire_at;
    token = kept.token;
    return 0;
}

int CHttpSiaToken::GetTokenFromBuf(const std::string& service, SiaToken& out) {
    const TokenGuard guard(m_TokenMutex);
    const auto entry = m_mapSiaToken.find(service);
    if (entry == m_mapSiaToken.end()) {
        return -1;
    }
    out = entry->second;
    return 0;
}

bool CHttpSiaToken::IsTokenValid(const SiaToken& rec) {
    const TokenGuard guard(m_TokenMutex); // deliberate, though the record is the caller's own
    return rec.expire_at > time(nullptr);
}

int CHttpSiaToken::EraseTokenFromBuf(const std::string& url, bool bSiaAccess) {
    const std::string service = GetServiceNameByUrl(url, bSiaAccess);
    if (service.empty()) {
        return -1;
    }
    const TokenGuard guard(m_TokenMutex);
    const auto entry = m_mapSiaToken.find(service);
    if (entry != m_mapSiaToken.end()) {
        Cleanse(entry->second.token);
        m_mapSiaToken.erase(entry);
    }
    return 0;
}
