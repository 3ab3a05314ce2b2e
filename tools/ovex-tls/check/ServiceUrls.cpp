// SPDX-License-Identifier: Apache-2.0
#include "check/ServiceUrls.h"

#include <algorithm>

namespace {

bool StartsWith(const std::string& text, const std::string& start) {
    return text.compare(0, start.size(), start) == 0;
}

bool IsWildcard(const std::string& pattern) {
    return pattern.find('*') != std::string::npos;
}

/// Whether a member can be turned into a text; turning anything else raises an exception.
bool IsTextual(const Json::Value& value) {
    return !value.isObject() && !value.isArray();
}

/// Whether the loader meets an exception at this entry.
bool Breaks(const Json::Value& entry) {
    if (entry.isNull()) {
        return false; // as if it were empty
    }
    return !entry.isObject() || !IsTextual(entry["type"]) ||
           (entry["type"].asString() == "sia" && !IsTextual(entry["service"]));
}

std::string TypeOf(const Json::Value& entry) {
    return entry.isNull() ? "" : entry["type"].asString();
}

} // namespace

ServiceUrls LoadServiceUrls(const Json::Value& root) {
    ServiceUrls urls;
    const Json::Value::Members names = root.getMemberNames();
    for (std::size_t at = 0; at < names.size(); ++at) {
        const std::string& name = names[at];
        const Json::Value& entry = root[name];
        if (name.empty()) {
            urls.ignored.push_back({name, "its pattern is empty"});
        } else if (Breaks(entry)) {
            urls.breakingEntry = name;
            urls.lost = names.size() - at - 1;
            return urls;
        } else if (TypeOf(entry) != "sia") {
            urls.ignored.push_back({name, "its type is \"" + TypeOf(entry) + "\", not \"sia\""});
        } else {
            urls.services[name] = entry["service"].asString();
        }
    }
    return urls;
}

std::string PatternPrefix(const std::string& pattern) {
    return pattern.substr(0, pattern.find('*'));
}

std::string PatternSurprise(const std::string& pattern) {
    if (pattern.find('?') != std::string::npos && pattern.find('?') < pattern.find('*')) {
        return "holds a \"?\", but queries are cut off before comparing: it matches nothing";
    }
    if (pattern.front() == '*') {
        return "begins with \"*\": it matches every path";
    }
    if (pattern.front() != '/') {
        return "does not begin with \"/\", as URL paths usually do";
    }
    if (IsWildcard(pattern) && pattern.back() != '*') {
        return "what follows the \"*\" is not compared: it matches whatever begins with \"" +
               PatternPrefix(pattern) + "\"";
    }
    if (IsWildcard(pattern) && PatternPrefix(pattern) != pattern.substr(0, pattern.size() - 1)) {
        return "only what stands before the first \"*\" is compared: \"" + PatternPrefix(pattern) + "\"";
    }
    return "";
}

bool LosesItsDirectory(const std::string& pattern, const ServiceUrls& urls) {
    const std::string prefix = PatternPrefix(pattern);
    return IsWildcard(pattern) && !prefix.empty() && prefix.back() == '/' &&
           std::any_of(urls.services.begin(), urls.services.find(pattern),
                       [](const auto& entry) { return !IsWildcard(entry.first); });
}

std::string ShadowOf(const std::string& pattern, const ServiceUrls& urls) {
    // Patterns are tried in byte order, and the first that matches decides.
    for (const auto& [earlier, service] : urls.services) {
        if (earlier == pattern) {
            break;
        }
        if (IsWildcard(earlier) && StartsWith(PatternPrefix(pattern), PatternPrefix(earlier))) {
            return earlier;
        }
    }
    return "";
}
