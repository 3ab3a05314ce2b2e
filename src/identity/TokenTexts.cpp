// SPDX-License-Identifier: Apache-2.0
#include "identity/TokenTexts.h"

#include <json/value.h>

#include <ovexcommon/JsonReader.h>

#include "support/Cleansing.h"
#include "support/Trace.h"

// Never destroyed, so that threads that outlive main() may still use them.
const std::string& g_strSiaTokenPath = *new std::string("/rest/sia/v1/tokens/jwt/sia");
const std::string& g_strTokenHeader = *new std::string("x-access-token");
const std::string& g_strExchangeType = *new std::string("application/json");

std::string ExchangeContent(const std::string& service, const std::string& jwt) {
    Json::Value body;
    body["jwt"] = jwt;
    body["domain"] = service;
    return body.toStyledString();
}

bool ReadExchangeAnswer(int status, const std::string& body, std::string& token, std::time_t& end) {
    Json::Value answer;
    if (status != EXCHANGE_STATUS || !JsonReader(true).parse(body, answer)) {
        Trace<LogMessage::TokenRefused>(status);
        return false;
    }
    std::string obtained = answer["token"].asString();
    Cleanse(token); // a former one would be given back with the text that it changes places with
    token = std::move(obtained);
    end = time(nullptr) + TOKEN_LIFE_SECONDS;
    // Through an int: the text's %d is fixed.
    Trace<LogMessage::TokenObtained>(static_cast<int>(token.size()), static_cast<int>(end));
    return true;
}
