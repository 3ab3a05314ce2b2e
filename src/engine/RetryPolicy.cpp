// SPDX-License-Identifier: Apache-2.0
#include <utility>

#include <httpclient/Client.h>

#include "engine/Options.h"

namespace httpclient {

RetryPolicy::RetryPolicy() : m_body(std::make_unique<Body>()) {}
RetryPolicy::RetryPolicy(const RetryPolicy& other) : m_body(std::make_unique<Body>(other.internals())) {}
RetryPolicy::RetryPolicy(RetryPolicy&& other) noexcept = default;
RetryPolicy& RetryPolicy::operator=(const RetryPolicy& other) {
    return *this = RetryPolicy(other);
}
RetryPolicy& RetryPolicy::operator=(RetryPolicy&& other) noexcept = default;
RetryPolicy::~RetryPolicy() = default;

const RetryPolicy::Body& RetryPolicy::internals() const {
    static const Body& asNew =
        *new Body; // never destroyed, so that threads that outlive main() may still use it
    return m_body ? *m_body : asNew;
}

RetryPolicy::Body& RetryPolicy::Own() {
    if (!m_body) { // moved from
        m_body = std::make_unique<Body>();
    }
    return *m_body;
}

RetryPolicy& RetryPolicy::attempts(int value) {
    Own().attempts = value;
    return *this;
}

int RetryPolicy::attempts() const {
    return internals().attempts;
}

RetryPolicy& RetryPolicy::pauses(std::chrono::milliseconds first, std::chrono::milliseconds longest) {
    Own().pauses = {first, longest};
    return *this;
}

std::pair<std::chrono::milliseconds, std::chrono::milliseconds> RetryPolicy::pauses() const {
    return internals().pauses;
}

RetryPolicy& RetryPolicy::budget(double value) {
    Own().budget = value;
    return *this;
}

double RetryPolicy::budget() const {
    return internals().budget;
}

RetryPolicy& RetryPolicy::statuses(std::vector<int> value) {
    Own().statuses = std::move(value);
    return *this;
}

std::vector<int> RetryPolicy::statuses() const {
    return internals().statuses;
}

} // namespace httpclient
