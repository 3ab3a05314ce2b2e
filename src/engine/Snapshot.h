// SPDX-License-Identifier: Apache-2.0
/// @file
/// What an engine had counted at one moment, as samples with names and labels.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include <httpclient/Engine.h>
#include <httpclient/Statistics.h>

namespace httpclient {

class EngineStatistics::Body {
public:
    struct Sample {
        std::string name;
        Labels labels;
        double value;
    };
    /// Samples of one name, those of a histogram with their endings.
    struct Family {
        const char* name;
        const char* type;
        const char* help;
        std::size_t begin; ///< among the samples
    };

    /// Takes a snapshot. @throw std::bad_alloc
    static std::unique_ptr<Body> Of(const Engine::Body& engine);

    std::vector<Family> families; ///< in the order of their samples
    std::vector<Sample> samples;
};

namespace engine {

/// @return a snapshot in the text format of Prometheus.
std::string MetricsText(const EngineStatistics::Body& snapshot);
/// @return a value as it stands there: in full, without an exponent.
std::string MetricsNumber(double value);

} // namespace engine

} // namespace httpclient
