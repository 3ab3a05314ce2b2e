// SPDX-License-Identifier: Apache-2.0
#include <utility>

#include <httpclient/Engine.h>

#include "engine/Engines.h"
#include "engine/Snapshot.h"

namespace httpclient {

Engine::Engine(EngineOptions options) : m_body(std::make_shared<Body>(std::move(options))) {}

Engine::Engine(std::shared_ptr<Body> body) noexcept : m_body(std::move(body)) {}

Engine::~Engine() {
    try {
        m_body->Shutdown(std::chrono::milliseconds(0));
    } catch (...) {
        // Only the first use allocates: one that was never used and cannot be made now has nothing to end.
    }
}

Engine& Engine::Shared() {
    static Engine& shared = *new Engine(Body::Shared()); // never destroyed
    shared.m_body->core();                               // asking for it is its first use
    return shared;
}

void Engine::Configure(EngineOptions options) {
    Body::Shared()->Configure(std::move(options));
}

void Engine::CloseIdleConnections() {
    if (engine::Core* core = m_body->inUse()) {
        core->pool().CloseIdle(engine::CloseReason::Shutdown);
    }
}

EngineStatistics Engine::statistics() const {
    return EngineStatistics(EngineStatistics::Body::Of(*m_body));
}

std::string Engine::metricsText() const {
    return statistics().text();
}

bool Engine::Shutdown(std::chrono::milliseconds grace) {
    return m_body->Shutdown(grace);
}

} // namespace httpclient
