// SPDX-License-Identifier: Apache-2.0
/// @file
/// The body of Engine: the life that it is in, and the shared one.
#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <memory>
#include <mutex>
#include <vector>

#include <httpclient/Engine.h>

#include "engine/Core.h"
#include "engine/Options.h"

namespace httpclient {

/// An engine through its lives. Clients share it, so that they may outlive the Engine.
///
/// A core is never freed before this object: a call may have looked it up and not yet entered it.
class Engine::Body {
public:
    explicit Body(EngineOptions options);
    ~Body();
    Body(const Body&) = delete;
    Body& operator=(const Body&) = delete;

    /// @return the core of the moment: made on first use, in a forked child, and after a Renew().
    engine::Core& core();
    bool used() const noexcept { return m_current.load(std::memory_order_acquire) != nullptr; }
    /// Ends the core of the moment, if there is one. @return as Engine::Shutdown().
    bool Shutdown(std::chrono::milliseconds grace);
    /// As Shutdown(); the next use begins another life.
    void Renew();

    /// Changes what later lives begin with. @throw std::logic_error when there was one.
    void Configure(EngineOptions options);
    void RaisePerOrigin(std::size_t limit);
    void SetIdleTimeout(std::chrono::milliseconds most);

    /// The engine of the process; never destroyed, so that threads that outlive main() may still use it.
    static const std::shared_ptr<Body>& Shared();

private:
    engine::Core& Begin(engine::Core* before);

    EngineOptions m_options;
    std::mutex m_lock; ///< of the options
    std::atomic<engine::Core*> m_current{nullptr};
    std::atomic<bool> m_everUsed{false};
    std::mutex m_pastLock;
    std::vector<std::unique_ptr<engine::Core>> m_past;
};

} // namespace httpclient
