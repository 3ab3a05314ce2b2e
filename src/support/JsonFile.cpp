// SPDX-License-Identifier: Apache-2.0
#include "support/JsonFile.h"

#include <array>
#include <fstream>

#include <ovexcommon/JsonReader.h>

#include "support/Cancellation.h"

namespace {

/// Reads what is left of a file, in blocks. @throw std::ios_base::failure when it cannot be read.
std::string ReadAll(std::ifstream& file) {
    file.exceptions(std::ios::badbit); // or a read error would look like the file's end
    std::array<char, 16384> block{};
    std::string text;
    while (file.read(block.data(), block.size()) || file.gcount() > 0) {
        text.append(block.data(), static_cast<std::size_t>(file.gcount()));
    }
    return text;
}

} // namespace

JsonFileResult ReadJsonFile(const std::string& path, bool strict, Json::Value& value) {
    const CancellationBlock block; // a stream's destructor swallows a cancellation
    std::ifstream file(path, std::ios::in | std::ios::binary);
    if (!file.is_open() || !file.good()) {
        return JsonFileResult::NotOpened;
    }
    const std::string text = ReadAll(file);
    JsonReader reader(strict);
    return reader.parse(text, value) ? JsonFileResult::Ok : JsonFileResult::NotParsed;
}
