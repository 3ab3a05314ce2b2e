// SPDX-License-Identifier: Apache-2.0
/// @file
/// What is counted of one engine, through its lives.
#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "engine/Counts.h"

namespace httpclient::engine {

/// Code of the host that throws.
enum class HostCodeKind { Callback, Observer, Executor, Source, Sink };
constexpr std::size_t HOST_CODE_KINDS = static_cast<std::size_t>(HostCodeKind::Sink) + 1;
const char* ToString(HostCodeKind kind) noexcept;

/// Counts of an engine. Those of an origin are asked for once, and kept by whoever counts.
///
/// @par Thread Safety
/// Any thread.
class Statistics {
public:
    static constexpr std::size_t MOST_ORIGINS = 256;
    static constexpr std::size_t MOST_SERVICES = 64;

    /// Exchanges of a token by outcome: "ok", or a kind of failure.
    using Exchanges = std::array<Counter, 1 + Ending::COUNT - Ending::CLASSES>;
    /// @return the name of one of those outcomes.
    static const char* NameOfExchange(std::size_t index) noexcept;

    Statistics();
    Statistics(const Statistics&) = delete;
    Statistics& operator=(const Statistics&) = delete;

    /// @return the counts of an origin; those of "other" beyond the bound and where there is no memory.
    std::shared_ptr<OriginCounts> Of(const std::string& origin) noexcept;
    /// Counts a token exchange. @param failure nothing: there is a token.
    void CountTokenExchange(const std::string& service, std::optional<FailureKind> failure) noexcept;
    /// Counts something that code of the host has thrown.
    void CountHostError(HostCodeKind where) noexcept { m_hostErrors[static_cast<std::size_t>(where)].Add(); }

    /// @return the counts of all origins by name, "other" at the end where anything is counted there.
    std::vector<std::shared_ptr<const OriginCounts>> Origins() const;
    /// Calls a function with each service and its exchanges, under the lock.
    void ForEachService(const std::function<void(const std::string&, const Exchanges&)>& look) const;
    std::uint64_t hostErrors(HostCodeKind where) const noexcept {
        return m_hostErrors[static_cast<std::size_t>(where)].count();
    }

private:
    mutable std::mutex m_lock; ///< of the maps; never held while anything waits
    std::map<std::string, std::shared_ptr<OriginCounts>> m_origins;
    const std::shared_ptr<OriginCounts> m_otherOrigin;
    std::atomic<bool> m_otherUsed{false};
    std::map<std::string, Exchanges> m_services;
    Exchanges m_otherService;
    std::array<Counter, HOST_CODE_KINDS> m_hostErrors;
};

} // namespace httpclient::engine
