// SPDX-License-Identifier: Apache-2.0
/// @file
/// What is fuzzed: one function per kind of input that comes from outside the process.
#pragma once

#include <string_view>

/// Takes any bytes. Ends the process when a promise is broken; the sanitizers do when memory is.
using FuzzFunction = void (*)(std::string_view input);

void FuzzManifest(std::string_view input);
void FuzzServiceUrls(std::string_view input);
void FuzzJwt(std::string_view input);
void FuzzTokenAnswer(std::string_view input);
void FuzzUrlMatch(std::string_view input);
void FuzzHeadEntries(std::string_view input);
void FuzzParameters(std::string_view input);
void FuzzConversion(std::string_view input);
void FuzzUnescape(std::string_view input);
void FuzzServerBytes(std::string_view input);
void FuzzAnswer(std::string_view input);
void FuzzRequestBytes(std::string_view input);
void FuzzCodedBody(std::string_view input);
void FuzzRequestReadBack(std::string_view input);
void FuzzTlsTexts(std::string_view input);
void FuzzPlatformMaterial(std::string_view input);
void FuzzBesideLibcurl(std::string_view input);
void FuzzMetricsText(std::string_view input);

/// A function and the name that it goes by: that of its corpus, too.
struct FuzzTarget {
    std::string_view name;
    FuzzFunction run;
};

constexpr FuzzTarget FUZZ_TARGETS[] = {
    {"manifest", FuzzManifest},
    {"service-urls", FuzzServiceUrls},
    {"jwt", FuzzJwt},
    {"token-answer", FuzzTokenAnswer},
    {"url-match", FuzzUrlMatch},
    {"head-entries", FuzzHeadEntries},
    {"parameters", FuzzParameters},
    {"conversion", FuzzConversion},
    {"unescape", FuzzUnescape},
    {"server-bytes", FuzzServerBytes},
    {"answer", FuzzAnswer},
    {"request-bytes", FuzzRequestBytes},
    {"coded-body", FuzzCodedBody},
    {"request-read-back", FuzzRequestReadBack},
    {"tls-texts", FuzzTlsTexts},
    {"platform-material", FuzzPlatformMaterial},
    {"beside-libcurl", FuzzBesideLibcurl},
    {"metrics-text", FuzzMetricsText},
};

/// @return the function of this name; null when there is none.
inline FuzzFunction FindFuzzTarget(std::string_view name) {
    for (const FuzzTarget& target : FUZZ_TARGETS) {
        if (target.name == name) {
            return target.run;
        }
    }
    return nullptr;
}
