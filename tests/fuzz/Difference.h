// SPDX-License-Identifier: Apache-2.0
/// @file
/// How what libcurl makes of an answer differs from what the engine makes of it.
#pragma once

#include <string>
#include <vector>

#include "LibcurlReading.h"

/// A known difference between two readers that both keep to the rules.
struct KnownDifference {
    const char* name;
    const char* rule; ///< the sentence of the standard that the engine goes by
    /// @return whether this is all the difference that there is.
    bool (*explains)(const LibcurlReading& libcurl, const httpclient::http1::Answer& answer,
                     const httpclient::http1::Reading& engine);
};

/// Each difference that is known. The documents list them.
const std::vector<KnownDifference>& KnownDifferences();

/// By which rule the engine refuses what libcurl takes. The documents list them.
struct StricterRule {
    httpclient::http1::GrammarError error;
    const char* rule;
};
const std::vector<StricterRule>& StricterRules();

/// Compares an answer that the engine took with what libcurl made of it.
/// @param[out] known the difference that explains it; null when there is none. May be null.
/// @return in words, how they differ; "" when they do not, or when the difference is known.
std::string DifferenceFrom(const LibcurlReading& libcurl, const httpclient::http1::Answer& answer,
                           const httpclient::http1::Reading& engine, const KnownDifference** known = nullptr);
