// SPDX-License-Identifier: Apache-2.0
/// @file
/// What an engine has counted.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <httpclient/Export.h>

namespace httpclient {

/// What an engine had counted at one moment: samples with names, labels and values, the same as the lines of
/// Engine::metricsText(). docs/operations.md says what each name means.
///
/// Counters never get smaller from one snapshot of an engine to the next. Those of one call that ends just now may be
/// in two of them.
///
/// @par Thread Safety
/// As a container of the standard library.
class HTTPCLIENT_EXPORT EngineStatistics {
public:
    /// Names and values: {"origin", "https://host:443"}.
    using Labels = std::vector<std::pair<std::string, std::string>>;

    EngineStatistics(const EngineStatistics& other);            ///< Copies.
    EngineStatistics(EngineStatistics&& other) noexcept;        ///< Moves; the other one has no samples then.
    EngineStatistics& operator=(const EngineStatistics& other); ///< Copies.
    EngineStatistics& operator=(EngineStatistics&& other) noexcept; ///< Moves.
    ~EngineStatistics();

    std::size_t sampleCount() const noexcept; ///< @return how many samples there are.
    /// @return a sample's name: "httpclient_calls_total"; of a histogram with its ending: "…_bucket", "…_sum",
    ///         "…_count". @throw std::out_of_range
    const std::string& name(std::size_t index) const&;
    const std::string& name(std::size_t index) const&& = delete;
    /// @return a sample's labels. @throw std::out_of_range
    const Labels& labels(std::size_t index) const&;
    const Labels& labels(std::size_t index) const&& = delete;
    /// @return a sample's value; times are in seconds. @throw std::out_of_range
    double value(std::size_t index) const;

    /// Adds up the samples of a name. @param having only those that have all these labels.
    /// @return their sum; 0 where there is none.
    double sum(std::string_view name, const Labels& having = {}) const;

    /// @return the samples in the text format of Prometheus, with a HELP and a TYPE line for each name.
    std::string text() const;

    /// @cond INTERNAL
    class Body;
    [[gnu::visibility("hidden")]] explicit EngineStatistics(std::unique_ptr<Body> body) noexcept;
    /// @endcond

private:
    std::unique_ptr<Body> m_body;
};

} // namespace httpclient
