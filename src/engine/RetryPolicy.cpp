// SPDX-License-Identifier: Apache-2.0
#include <utility>

#include <httpclient/Client.h>

#include "engine/Options.h"

namespace httpclient {

RetryPolicy::RetryPolicy() : m_body(std::make_unique<Body>()) {}
RetryPolicy::RetryPolicy(const RetryPolicy& other) : m_body(std::make_unique<Body>(*other.m_body)) {}
RetryPolicy::RetryPolicy(RetryPolicy&& other) noexcept = default;
RetryPolicy& RetryPolicy::operator=(const RetryPolicy& other) {
    return *this = RetryPolicy(other);
}
RetryPolicy& RetryPolicy::operator=(RetryPolicy&& other) noexcept = default;
RetryPolicy::~RetryPolicy() = default;

RetryPolicy& RetryPolicy::attempts(int value) {
    m_body->attempts = value;
    return *this;
}

int RetryPolicy::attempts() const {
    return m_body->attempts;
}

RetryPolicy& RetryPolicy::pauses(std::chrono::milliseconds first, std::chrono::milliseconds longest) {
    m_body->pauses = {first, longest};
    return *this;
}

std::pair<std::chrono::milliseconds, std::chrono::milliseconds> RetryPolicy::pauses() const {
    return m_body->pauses;
}

RetryPolicy& RetryPolicy::budget(double value) {
    m_body->budget = value;
    return *this;
}

double RetryPolicy::budget() const {
    return m_body->budget;
}

RetryPolicy& RetryPolicy::statuses(std::vector<int> value) {
    m_body->statuses = std::move(value);
    return *this;
}

std::vector<int> RetryPolicy::statuses() const {
    return m_body->statuses;
}

} // namespace httpclient
