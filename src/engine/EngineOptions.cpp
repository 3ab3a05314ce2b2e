// SPDX-License-Identifier: Apache-2.0
#include <utility>

#include <httpclient/Engine.h>

#include "engine/Options.h"

namespace httpclient {

EngineOptions::EngineOptions() : m_body(std::make_unique<Body>()) {}
EngineOptions::EngineOptions(const EngineOptions& other)
    : m_body(std::make_unique<Body>(other.internals())) {}
EngineOptions::EngineOptions(EngineOptions&& other) noexcept = default;
EngineOptions& EngineOptions::operator=(const EngineOptions& other) {
    return *this = EngineOptions(other);
}
EngineOptions& EngineOptions::operator=(EngineOptions&& other) noexcept = default;
EngineOptions::~EngineOptions() = default;

const EngineOptions::Body& EngineOptions::internals() const {
    static const Body& asNew =
        *new Body; // never destroyed, so that threads that outlive main() may still use it
    return m_body ? *m_body : asNew;
}

EngineOptions::Body& EngineOptions::Own() {
    if (!m_body) { // moved from
        m_body = std::make_unique<Body>();
    }
    return *m_body;
}

EngineOptions& EngineOptions::loops(unsigned value) {
    Own().loops = value;
    return *this;
}

unsigned EngineOptions::loops() const {
    return internals().loops;
}

EngineOptions& EngineOptions::callbackThreads(unsigned value) {
    Own().callbackThreads = value;
    return *this;
}

unsigned EngineOptions::callbackThreads() const {
    return internals().callbackThreads;
}

EngineOptions& EngineOptions::executor(std::function<void(std::function<void()>)> value) {
    Own().executor = std::move(value);
    return *this;
}

std::function<void(std::function<void()>)> EngineOptions::executor() const {
    return internals().executor;
}

EngineOptions& EngineOptions::maxConnections(std::size_t perOrigin, std::size_t inAll) {
    Own().maxConnections = {perOrigin, inAll};
    return *this;
}

std::pair<std::size_t, std::size_t> EngineOptions::maxConnections() const {
    return internals().maxConnections;
}

EngineOptions& EngineOptions::maxWaiting(std::size_t value) {
    Own().maxWaiting = value;
    return *this;
}

std::size_t EngineOptions::maxWaiting() const {
    return internals().maxWaiting;
}

EngineOptions& EngineOptions::idleTimeout(std::chrono::milliseconds value) {
    Own().idleTimeout = value;
    return *this;
}

std::chrono::milliseconds EngineOptions::idleTimeout() const {
    return internals().idleTimeout;
}

EngineOptions& EngineOptions::maxAge(std::chrono::milliseconds value) {
    Own().maxAge = value;
    return *this;
}

std::chrono::milliseconds EngineOptions::maxAge() const {
    return internals().maxAge;
}

EngineOptions& EngineOptions::nameLifetime(std::chrono::milliseconds value) {
    Own().nameLifetime = value;
    return *this;
}

std::chrono::milliseconds EngineOptions::nameLifetime() const {
    return internals().nameLifetime;
}

EngineOptions& EngineOptions::observer(std::shared_ptr<Observer> value) {
    Own().observer = std::move(value);
    return *this;
}

std::shared_ptr<Observer> EngineOptions::observer() const {
    return internals().observer;
}

} // namespace httpclient
