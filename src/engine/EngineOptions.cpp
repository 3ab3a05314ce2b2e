// SPDX-License-Identifier: Apache-2.0
#include <utility>

#include <httpclient/Engine.h>

#include "engine/Options.h"

namespace httpclient {

EngineOptions::EngineOptions() : m_body(std::make_unique<Body>()) {}
EngineOptions::EngineOptions(const EngineOptions& other) : m_body(std::make_unique<Body>(*other.m_body)) {}
EngineOptions::EngineOptions(EngineOptions&& other) noexcept = default;
EngineOptions& EngineOptions::operator=(const EngineOptions& other) {
    return *this = EngineOptions(other);
}
EngineOptions& EngineOptions::operator=(EngineOptions&& other) noexcept = default;
EngineOptions::~EngineOptions() = default;

EngineOptions& EngineOptions::loops(unsigned value) {
    m_body->loops = value;
    return *this;
}

unsigned EngineOptions::loops() const {
    return m_body->loops;
}

EngineOptions& EngineOptions::callbackThreads(unsigned value) {
    m_body->callbackThreads = value;
    return *this;
}

unsigned EngineOptions::callbackThreads() const {
    return m_body->callbackThreads;
}

EngineOptions& EngineOptions::executor(std::function<void(std::function<void()>)> value) {
    m_body->executor = std::move(value);
    return *this;
}

std::function<void(std::function<void()>)> EngineOptions::executor() const {
    return m_body->executor;
}

EngineOptions& EngineOptions::maxConnections(std::size_t perOrigin, std::size_t inAll) {
    m_body->maxConnections = {perOrigin, inAll};
    return *this;
}

std::pair<std::size_t, std::size_t> EngineOptions::maxConnections() const {
    return m_body->maxConnections;
}

EngineOptions& EngineOptions::maxWaiting(std::size_t value) {
    m_body->maxWaiting = value;
    return *this;
}

std::size_t EngineOptions::maxWaiting() const {
    return m_body->maxWaiting;
}

EngineOptions& EngineOptions::idleTimeout(std::chrono::milliseconds value) {
    m_body->idleTimeout = value;
    return *this;
}

std::chrono::milliseconds EngineOptions::idleTimeout() const {
    return m_body->idleTimeout;
}

EngineOptions& EngineOptions::maxAge(std::chrono::milliseconds value) {
    m_body->maxAge = value;
    return *this;
}

std::chrono::milliseconds EngineOptions::maxAge() const {
    return m_body->maxAge;
}

EngineOptions& EngineOptions::nameLifetime(std::chrono::milliseconds value) {
    m_body->nameLifetime = value;
    return *this;
}

std::chrono::milliseconds EngineOptions::nameLifetime() const {
    return m_body->nameLifetime;
}

} // namespace httpclient
