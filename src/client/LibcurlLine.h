// SPDX-License-Identifier: Apache-2.0
/// @file
/// What libcurl's lines say, and what of them may be logged.
#pragma once

#include <optional>
#include <string>
#include <string_view>

/// @param line an informational line of libcurl; may be null.
/// @return the line without what may be a secret in it: the value of a header, what stands before the "@" of a
///         URL, the user of it, its query. Nothing when it holds no such thing and may be logged as it is.
std::optional<std::string> WithoutSecrets(const char* line);

inline bool BeginsWith(std::string_view text, std::string_view begin) {
    return text.substr(0, begin.size()) == begin;
}

/// @return whether a URL begins with the scheme of TLS, in any case.
bool IsOverTls(const char* url);

/// @return whether a line can be one of the two below, by its first character.
inline bool MayTellOfConnection(char first) {
    return first == 'U' || first == ' ';
}

/// @return whether a transfer goes to a proxy that the environment names, by TLS.
bool NamesTlsProxy(std::string_view line);

/// @return whether libcurl begins to connect: again, too, where a kept connection turns out to be dead.
inline bool SaysThatItConnects(std::string_view line) {
    return BeginsWith(line, "  Trying ");
}
