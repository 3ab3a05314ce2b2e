// SPDX-License-Identifier: Apache-2.0
/// @file
/// The rules of the maps that requests and responses keep by name: blank names are refused, the first value
/// of a name wins, names match byte for byte.
#pragma once

#include <iterator>
#include <map>
#include <string>
#include <utility>

namespace named_entries {

/// The name that requests and responses both have. Never destroyed: threads that outlive main() may still use it.
inline const std::string& CONTENT_TYPE = *new std::string("Content-Type");

/// Only the space (0x20) counts as blank; a tab does not.
inline bool IsBlank(const std::string& name) {
    return name.find_first_not_of(' ') == std::string::npos;
}

/// Adds an entry unless the name exists, whose old value then stays. @return false for a blank name.
template <typename Value>
bool Add(std::map<std::string, Value>& entries, const std::string& name, Value value) {
    if (IsBlank(name)) {
        return false;
    }
    entries.try_emplace(name, std::move(value));
    return true;
}

/// @return the value of a name; an empty value when there is none.
template <typename Value> Value Get(const std::map<std::string, Value>& entries, const std::string& name) {
    const auto entry = entries.find(name);
    return entry == entries.end() ? Value() : entry->second;
}

/// @return the value at a 0-based position in name order; an empty value when out of range.
template <typename Value> Value Get(const std::map<std::string, Value>& entries, unsigned int index) {
    return index < entries.size() ? std::next(entries.begin(), index)->second : Value();
}

} // namespace named_entries
