// SPDX-License-Identifier: Apache-2.0
#include "identity/ServiceMatch.h"

namespace {

/// The service of clients that have been given access; never destroyed, as threads may outlive main().
const std::string& ACCESS_SERVICE = *new std::string("ServiceIdentityAccessService");

/// Removes one "/" from the end, if there is one.
void StripSlash(std::string_view& text) {
    if (!text.empty() && text.back() == '/') {
        text.remove_suffix(1);
    }
}

/// Matches a pattern without "*". Deliberate: the path loses one final "/" and stays so for later patterns.
bool MatchesExactly(std::string_view pattern, std::string_view& path) {
    StripSlash(path);
    StripSlash(pattern);
    return path == pattern;
}

/// Matches a pattern with "*" at the given position; what follows the "*" is ignored.
bool MatchesPrefix(std::string_view pattern, std::size_t star, std::string_view path) {
    return path.substr(0, star) == pattern.substr(0, star);
}

bool Matches(std::string_view pattern, std::string_view& path) {
    const std::size_t star = pattern.find('*');
    return star == std::string_view::npos ? MatchesExactly(pattern, path)
                                          : MatchesPrefix(pattern, star, path);
}

} // namespace

const std::string* FindService(const ServiceUrls& services, std::string_view url, bool access) {
    if (access) {
        return &ACCESS_SERVICE;
    }
    if (url.empty()) {
        return nullptr;
    }
    std::string_view path = url.substr(0, url.find('?'));
    for (const auto& [pattern, service] : services) {
        if (Matches(pattern, path)) {
            return service.empty() ? nullptr : &service;
        }
    }
    return nullptr;
}
