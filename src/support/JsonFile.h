// SPDX-License-Identifier: Apache-2.0
/// @file
/// Reading of the JSON files that configure the library.
#pragma once

#include <string>

#include <json/value.h>

enum class JsonFileResult {
    Ok,
    NotOpened, ///< missing, or not readable
    NotParsed  ///< not JSON
};

/// Opens, reads and parses a JSON file. Each caller has its own messages for the results.
/// @param path the file.
/// @param strict the flag of the platform's JsonReader.
/// @param[out] value the parsed value.
/// @throw std::exception when an opened file cannot be read (a directory, for instance) and when
///        memory is exhausted.
JsonFileResult ReadJsonFile(const std::string& path, bool strict, Json::Value& value);
