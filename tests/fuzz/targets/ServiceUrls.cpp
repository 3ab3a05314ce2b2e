// SPDX-License-Identifier: Apache-2.0
// The service URL configuration, and the matching with whatever patterns it holds.
#include "../Require.h"
#include "../Surroundings.h"
#include "../Target.h"
#include "Identity.h"

namespace {

void RequireOutcome(int result, const CHttpSiaToken& identity, const std::vector<std::string>& log) {
    Require(log.size() == 1, "one message tells the outcome");
    if (result == 0) {
        Require(log[0] == "[3] load service_url_config.json successfully, sia url count: " +
                              std::to_string(identity.m_mapServiceUrl.size()),
                "the message tells the number of patterns");
    } else {
        Require(result == -1 && (log[0] == "[5] load service_url_config.json failed." ||
                                 log[0] == "[5] parse service_url_config.json catch an exception."),
                "a failure has its message");
    }
}

} // namespace

void FuzzServiceUrls(std::string_view input) {
    Surroundings::Instance().WriteServiceUrls(input);
    const Identity identity = MakeIdentity();
    StartLog();
    const int result = identity->LoadServiceUrlConf();
    RequireOutcome(result, *identity, Logged());
    for (const auto& [pattern, service] : identity->m_mapServiceUrl) {
        Require(!pattern.empty(), "an empty pattern is left out");
        Require(identity->GetServiceNameByUrl(pattern, true) == "ServiceIdentityAccessService",
                "access to the service itself has its fixed name");
        // A pattern need not match its own text: it may hold a question mark.
        identity->GetServiceNameByUrl(pattern, false);
        identity->GetServiceNameByUrl(service, false);
    }
}
