// SPDX-License-Identifier: Apache-2.0
/// @file
/// The body of Engine: the life that it is in, and the shared one.
#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <memory>
#include <mutex>

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

    /// @return the core of the moment: made on first use, in a forked child, and after Renew().
    engine::Core& core();
    /// Ends the core of the moment, for good; one that was never used, too. @return as Engine::Shutdown().
    bool Shutdown(std::chrono::milliseconds grace);
    /// Ends the core of the moment, if there is one; the next use begins another.
    void Renew();
    /// @return the core of the moment; null when there is none.
    engine::Core* inUse() const noexcept;

    /// @return what was counted so far; of the moment's core, or of the last one.
    std::shared_ptr<engine::Statistics> Counts() const;
    /// Changes what lives begin with. @throw std::logic_error when there was one.
    void Configure(EngineOptions options);
    /// Raises the limit of connections per origin, now and for later lives; a lower value is ignored.
    void RaisePerOrigin(std::size_t limit);
    /// Sets how long a connection is kept idle, now and for later lives.
    void SetIdleTimeout(std::chrono::milliseconds most);

    /// The engine of the process; never destroyed, so that threads that outlive main() may still use it.
    static const std::shared_ptr<Body>& Shared();

private:
    engine::Core& Begin(engine::Core* before);
    EngineOptions::Body OptionsNow() const;

    EngineOptions
        m_options;     ///< constant once there was a core, so that a forked child needs no lock to read it
    std::mutex m_lock; ///< of the options until then
    std::atomic<bool> m_everUsed{false};
    std::atomic<std::size_t> m_raisedPerOrigin{0};
    std::atomic<std::chrono::milliseconds::rep> m_idleTimeout{0}; ///< 0: that of the options
    std::atomic<engine::Core*> m_current{nullptr};                ///< owned, with all before it
};

} // namespace httpclient
