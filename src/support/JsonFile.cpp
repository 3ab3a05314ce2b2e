// SPDX-License-Identifier: Apache-2.0
#include "support/JsonFile.h"

#include <fstream>
#include <iterator>

#include <ovexcommon/JsonReader.h>

JsonFileResult ReadJsonFile(const std::string& path, bool strict, Json::Value& value) {
    std::ifstream file(path, std::ios::in | std::ios::binary);
    if (!file.is_open() || !file.good())
        return JsonFileResult::NotOpened;
    // Stream iterators, unlike the stream's own operators, let a read error out as an exception.
    const std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    JsonReader reader(strict);
    return reader.parse(text, value) ? JsonFileResult::Ok : JsonFileResult::NotParsed;
}
