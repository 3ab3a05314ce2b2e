// SPDX-License-Identifier: Apache-2.0
/// @file
/// Which service a request's path belongs to. Both roads match by it.
#pragma once

#include <map>
#include <string>
#include <string_view>

#include "identity/TokenTexts.h"

/// The configuration: URL pattern to service name, in the byte order of the patterns.
using ServiceUrls = std::map<std::string, std::string>;

/// Maps a URL path to a service: the first pattern that matches decides.
/// @param url path and query; the query is never compared.
/// @param access true: "ServiceIdentityAccessService", whatever the path and the configuration.
/// @return the service, which stands in @p services or is never destroyed; null when the path belongs to none.
const std::string* FindService(const ServiceUrls& services, std::string_view url, bool access);

/// @return whether a request goes to the token exchange itself, and never carries a token.
inline bool GoesToExchange(std::string_view url) {
    const std::string_view exchange = g_strSiaTokenPath;
    return url.size() >= exchange.size() && url.find(exchange) != std::string_view::npos;
}
