// SPDX-License-Identifier: Apache-2.0
/// @file
/// Reading of the JSON files that configure the library.
#pragma once

#include <string>
#include <string_view>
#include <utility>

#include <json/value.h>

#include "support/Cancellation.h"
#include "support/Trace.h"

enum class JsonFileResult {
    Ok,
    NotOpened, ///< missing, or not readable
    NotParsed  ///< not JSON
};

/// Opens, reads and parses a JSON file.
/// @param path the file.
/// @param strict the flag of the platform's JsonReader.
/// @param[out] value the parsed value.
/// @throw std::exception when an opened file cannot be read (a directory, for instance) and when
///        memory is exhausted.
JsonFileResult ReadJsonFile(const std::string& path, bool strict, Json::Value& value);

/// Stands where a file that cannot be loaded is passed over in silence.
constexpr LogMessage NO_MESSAGE = LogMessage::Count;

/// Logs a message about a file, whose text names it or does not.
template <LogMessage MESSAGE> void TraceOfFile([[maybe_unused]] const std::string& name) {
    if constexpr (MESSAGE == NO_MESSAGE) {
        return;
    } else if constexpr (std::string_view(RowOf(MESSAGE).text).find("%s") != std::string_view::npos) {
        Trace<MESSAGE>(name.c_str());
    } else {
        Trace<MESSAGE>();
    }
}

/// Loads a JSON file: reads it and hands over what it holds. A failure is logged with the caller's messages: the
/// file cannot be opened; it holds no JSON; anything is thrown, be it by the caller's own functions.
/// @param name what the messages call the file, where they name it.
/// @param path gives the file's path.
/// @param strict the flag of the platform's JsonReader.
/// @param take is given the parsed value.
/// @return whether nothing failed.
template <LogMessage NotOpened, LogMessage NotParsed, LogMessage NotRead, class Path, class Take>
bool LoadJsonFile(const std::string& name, Path&& path, bool strict, Take&& take) {
    const BlockWithinHandler block; // the platform's environment may be a cancellation point
    JsonFileResult result = JsonFileResult::NotOpened;
    const auto load = [&] {
        Json::Value value;
        result = ReadJsonFile(std::forward<Path>(path)(), strict, value);
        if (result == JsonFileResult::Ok) {
            std::forward<Take>(take)(value);
        } else if (result == JsonFileResult::NotParsed) {
            TraceOfFile<NotParsed>(name);
        } else {
            TraceOfFile<NotOpened>(name);
        }
    };
    if (!Contained(load)) {
        TraceOfFile<NotRead>(name);
        return false;
    }
    return result == JsonFileResult::Ok;
}
