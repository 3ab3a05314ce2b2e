// SPDX-License-Identifier: Apache-2.0
// Which service a URL path belongs to, for any patterns.
#include "../Input.h"
#include "../Require.h"
#include "../Target.h"
#include "Identity.h"

namespace {

/// Whether one pattern alone takes a path, in other words than the library's.
bool Takes(const std::string& pattern, const std::string& path) {
    const std::string::size_type star = pattern.find('*');
    if (star != std::string::npos) {
        return path.rfind(pattern.substr(0, star), 0) == 0;
    }
    const auto trimmed = [](const std::string& text) {
        return !text.empty() && text.back() == '/' ? text.substr(0, text.size() - 1) : text;
    };
    return trimmed(path) == trimmed(pattern);
}

} // namespace

void FuzzUrlMatch(std::string_view input) {
    Input fields(input);
    const std::string url = fields.Field();
    const Identity identity = MakeIdentity();
    for (std::size_t i = 0; !fields.AtEnd() && i < 100; ++i) {
        identity->m_mapServiceUrl.emplace(fields.Field(), "service" + std::to_string(i));
    }

    const std::string found = identity->GetServiceNameByUrl(url, false);
    Require(identity->GetServiceNameByUrl(url, false) == found, "the same URL has the same service");
    Require(identity->GetServiceNameByUrl(url, true) == "ServiceIdentityAccessService",
            "access to the service itself has its fixed name");
    Require(url.empty() || identity->GetServiceNameByUrl(url + "?a=b", false) == found ||
                url.find('?') != std::string::npos,
            "the query does not count");
    const std::string path = url.substr(0, url.find('?'));
    if (identity->m_mapServiceUrl.size() == 1 && !url.empty()) {
        const auto& [pattern, service] = *identity->m_mapServiceUrl.begin();
        Require(found == (Takes(pattern, path) ? service : ""), "one pattern alone matches as it says");
    }
}
