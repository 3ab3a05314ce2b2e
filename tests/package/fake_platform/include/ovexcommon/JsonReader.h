// SPDX-License-Identifier: Apache-2.0
#pragma once
#include <string>

#include <json/value.h>
class JsonReader {
public:
    explicit JsonReader(bool flag);
    bool parse(const std::string& text, Json::Value& value);
};
