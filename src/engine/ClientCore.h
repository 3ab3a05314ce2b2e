// SPDX-License-Identifier: Apache-2.0
/// @file
/// What the calls of one client share.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include <httpclient/Client.h>

#include "engine/Address.h"
#include "engine/Core.h"
#include "engine/Options.h"
#include "engine/RetryBudget.h"

namespace httpclient::engine {

/// A client's options, checked and read once.
///
/// @par Thread Safety
/// Any thread.
class ClientCore {
public:
    /// @throw std::invalid_argument
    explicit ClientCore(const ClientOptions::Body& options);
    ~ClientCore();
    ClientCore(const ClientCore&) = delete;
    ClientCore& operator=(const ClientCore&) = delete;

    const ClientOptions::Body& options() const noexcept { return m_options; }
    /// The origin as logs name it.
    const std::string& text() const noexcept { return m_text; }
    RetryBudget& budget() const noexcept { return m_budget; }
    /// @return where the client's calls go in one life of its engine. Costs one load after the first time.
    const std::shared_ptr<Destination>& DestinationIn(Core& core) const;

private:
    struct Known {
        const Core* core;
        std::shared_ptr<Destination> destination;
        const Known* before;
    };
    std::shared_ptr<net::TlsMaterial> MakeMaterial() const;

    const ClientOptions::Body m_options;
    const Origin m_origin;
    const Place m_place;
    const std::string m_text;
    const std::string m_key;
    mutable RetryBudget m_budget;
    /// The destination in the latest life of the engine, before it those of earlier ones: other threads may still
    /// be amid a call there.
    mutable std::atomic<const Known*> m_known{nullptr};
};

} // namespace httpclient::engine
