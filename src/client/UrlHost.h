// SPDX-License-Identifier: Apache-2.0
/// @file
/// How a host stands in a URL.
#pragma once

#include <string>

/// Appends a host to a URL: a bare IPv6 address gets brackets.
inline void AppendUrlHost(std::string& url, const std::string& domain) {
    const bool bareIpv6 = domain.find(':') != std::string::npos && domain.find('[') == std::string::npos;
    if (bareIpv6) {
        url.append(1, '[').append(domain).append(1, ']');
    } else {
        url.append(domain);
    }
}
