// SPDX-License-Identifier: Apache-2.0
#include "engine/Engines.h"

#include <stdexcept>
#include <utility>

namespace httpclient {

using engine::Core;

Engine::Body::Body(EngineOptions options) : m_options(std::move(options)) {
    CheckOptions(m_options.internals());
}

Engine::Body::~Body() {
    for (const Core* core = m_current.load(); core != nullptr;) {
        const std::unique_ptr<const Core> last(std::exchange(core, core->before));
    }
}

Core* Engine::Body::inUse() const noexcept {
    Core* core = m_current.load(std::memory_order_acquire);
    return core == nullptr || core->retired() || core->forked() ? nullptr : core;
}

Core& Engine::Body::core() {
    Core* core = inUse();
    return core != nullptr ? *core : Begin(m_current.load(std::memory_order_acquire));
}

EngineOptions::Body Engine::Body::OptionsNow() const {
    EngineOptions::Body options = m_options.internals();
    options.maxConnections.first = std::max(options.maxConnections.first, m_raisedPerOrigin.load());
    if (const auto idle = m_idleTimeout.load(); idle != 0) {
        options.idleTimeout = std::chrono::milliseconds(idle);
    }
    return options;
}

Core& Engine::Body::Begin(Core* before) {
    if (!m_everUsed.load(std::memory_order_acquire)) {
        const std::lock_guard<std::mutex> lock(m_lock);
        m_everUsed.store(true, std::memory_order_release);
    }
    auto made = std::make_unique<Core>(OptionsNow(), Counts());
    // In a forked child what was before is the parent's, and is left alone for good.
    made->before = before != nullptr && before->forked() ? nullptr : before;
    if (m_current.compare_exchange_strong(before, made.get(), std::memory_order_acq_rel)) {
        return *made.release();
    }
    return core(); // GCOVR_EXCL_LINE: another thread was first, at this very moment
}

std::shared_ptr<engine::Statistics> Engine::Body::Counts() const {
    const Core* last = m_current.load(std::memory_order_acquire);
    // What the parent of a forked child was counting just then may be locked for ever.
    return last != nullptr && !last->forked() ? last->sharedStatistics()
                                              : std::make_shared<engine::Statistics>();
}

bool Engine::Body::Shutdown(std::chrono::milliseconds grace) {
    return core().Shutdown(grace);
}

void Engine::Body::Renew() {
    if (Core* core = inUse()) {
        core->Retire();
        core->Shutdown(std::chrono::milliseconds(0));
    }
}

void Engine::Body::Configure(EngineOptions options) {
    CheckOptions(options.internals());
    const std::lock_guard<std::mutex> lock(m_lock);
    if (m_everUsed.load()) {
        throw std::logic_error("httpclient::Engine::Configure: the shared engine was used before");
    }
    m_options = std::move(options);
}

void Engine::Body::RaisePerOrigin(std::size_t limit) {
    std::size_t raised = m_raisedPerOrigin.load();
    while (raised < limit && !m_raisedPerOrigin.compare_exchange_weak(raised, limit)) {
    }
    if (Core* core = inUse()) {
        core->pool().RaisePerOrigin(limit);
    }
}

void Engine::Body::SetIdleTimeout(std::chrono::milliseconds most) {
    m_idleTimeout.store(most.count());
    if (Core* core = inUse()) {
        core->pool().SetIdleTimeout(most);
        core->keeper().NeededAt(net::Clock::now());
    }
}

// No static of the function: a child that was forked while another thread initialises it would wait for that for ever.
const std::shared_ptr<Engine::Body>& Engine::Body::Shared() {
    static std::atomic<const std::shared_ptr<Body>*> published{nullptr};
    const std::shared_ptr<Body>* shared = published.load(std::memory_order_acquire);
    if (shared == nullptr) {
        auto made = std::make_unique<const std::shared_ptr<Body>>(std::make_shared<Body>(EngineOptions()));
        if (published.compare_exchange_strong(shared, made.get(), std::memory_order_acq_rel)) {
            shared = made.release();
        }
    }
    return *shared;
}

} // namespace httpclient
