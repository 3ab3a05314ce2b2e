// SPDX-License-Identifier: Apache-2.0
/// @file
/// The service URL configuration, read the way a process reads it.
#pragma once

#include <map>
#include <string>
#include <vector>

#include <json/value.h>

struct ServiceUrls {
    struct Ignored {
        std::string pattern;
        std::string why;
    };
    std::map<std::string, std::string> services; ///< Pattern to service name, in the order of matching.
    std::vector<Ignored> ignored;                ///< Entries that are passed over.
    std::string breakingEntry;                   ///< The entry at which loading breaks off; "" when none.
    std::size_t lost = 0;                        ///< Entries after it, which are never looked at.
};

/// Takes the entries of a configuration. The root is an object or null.
ServiceUrls LoadServiceUrls(const Json::Value& root);

/// What people do not expect of a pattern; "" when there is nothing.
std::string PatternSurprise(const std::string& pattern);

/// A wildcard pattern up to its "*", the only part that is compared.
std::string PatternPrefix(const std::string& pattern);

/// Whether the path that is a wildcard pattern's prefix does not match it, as an earlier exact pattern takes
/// the path's final "/" away.
bool LosesItsDirectory(const std::string& pattern, const ServiceUrls& urls);

/// The pattern that gets all requests of this one, since it comes before it in byte order; "" when none does.
std::string ShadowOf(const std::string& pattern, const ServiceUrls& urls);
