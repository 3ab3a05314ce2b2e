// SPDX-License-Identifier: Apache-2.0
/// @file
/// The platform's JSON reader.
#pragma once

#include <string>

#include <json/value.h>

/// Parses JSON texts. Any value may stand at the root. One object serves one thread at a time.
class __attribute__((visibility("default"))) JsonReader {
public:
    /// @param flag true: strict JSON with nothing after the value; false: comments and trailing commas are
    ///        allowed, as people write them into configuration files, and what follows the value is ignored.
    ///        Of a repeated name the last value counts.
    explicit JsonReader(bool flag);
    /// @param text the JSON text.
    /// @param[out] value the parsed value; unspecified on failure.
    /// @return whether the text could be parsed; false also for more than 1000 levels of nesting.
    bool parse(const std::string& text, Json::Value& value);

private:
    bool m_bStrict;
};
