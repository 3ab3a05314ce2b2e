// SPDX-License-Identifier: Apache-2.0
// The process's JWT. Its text is never logged, nor is the directory that it lies in.
#include <json/value.h>

#include <ovexcommon/OvexCommonUtils.h>

#include "identity/AuthConfig.h"
#include "identity/HttpSiaToken.h"
#include "support/Cancellation.h"
#include "support/JsonFile.h"
#include "support/Trace.h"

int CHttpSiaToken::LoadJWTFile() {
    const std::string fileName = "jwt_" + OvexCommonUtils::Ovexgetenv("APP_NAME") + ".json";
    int result = -1;
    const auto load = [&] {
        Json::Value root;
        switch (ReadJsonFile(AuthConfigPath(fileName), false, root)) {
        case JsonFileResult::NotOpened:
            Trace<LogMessage::CredentialNotOpened>(fileName.c_str());
            return;
        case JsonFileResult::NotParsed:
            Trace<LogMessage::CredentialNotParsed>(fileName.c_str());
            return;
        case JsonFileResult::Ok:
            break;
        }
        m_strJwt = root["jwt"].asString();
        Trace<LogMessage::CredentialLoaded>(fileName.c_str(), static_cast<int>(m_strJwt.size()));
        result = 0;
    };
    if (!Contained(load)) {
        Trace<LogMessage::CredentialNotRead>(fileName.c_str());
    }
    return result;
}

std::string CHttpSiaToken::GetJwt() const {
    return m_strJwt;
}
