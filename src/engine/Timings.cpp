// SPDX-License-Identifier: Apache-2.0
#include <memory>
#include <utility>

#include <httpclient/Timings.h>

#include "engine/Times.h"

namespace httpclient {

namespace {

const Timings::Body* CopyOf(const Timings::Body& body) {
    auto copy = std::make_unique<Timings::Body>(body);
    copy->copied = true;
    return copy.release();
}

} // namespace

Timings::Timings(const Body& borrowed) noexcept : m_body(&borrowed) {}

Timings::Timings(const Timings& other) : m_body(CopyOf(*other.m_body)) {}

Timings& Timings::operator=(const Timings& other) {
    Timings copy(other);
    std::swap(m_body, copy.m_body);
    return *this;
}

Timings::~Timings() {
    if (m_body->copied) {
        delete m_body;
    }
}

std::chrono::nanoseconds Timings::of(Phase phase) const noexcept {
    const auto index = static_cast<std::size_t>(phase);
    return index < Body::PHASES ? m_body->phases[index] : std::chrono::nanoseconds::zero();
}

std::chrono::nanoseconds Timings::total() const noexcept {
    return m_body->total;
}

} // namespace httpclient
