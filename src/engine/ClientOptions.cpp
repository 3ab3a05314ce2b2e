// SPDX-License-Identifier: Apache-2.0
#include <utility>

#include <httpclient/Client.h>

#include "engine/Options.h"

namespace httpclient {

ClientOptions::ClientOptions(std::string origin) : m_body(std::make_unique<Body>()) {
    m_body->origin = std::move(origin);
}
ClientOptions::ClientOptions(const ClientOptions& other) : m_body(std::make_unique<Body>(*other.m_body)) {}
ClientOptions::ClientOptions(ClientOptions&& other) noexcept = default;
ClientOptions& ClientOptions::operator=(const ClientOptions& other) {
    return *this = ClientOptions(other);
}
ClientOptions& ClientOptions::operator=(ClientOptions&& other) noexcept = default;
ClientOptions::~ClientOptions() = default;

std::string ClientOptions::origin() const {
    return m_body->origin;
}

ClientOptions& ClientOptions::timeout(std::chrono::milliseconds value) {
    m_body->timeout = value;
    return *this;
}

std::chrono::milliseconds ClientOptions::timeout() const {
    return m_body->timeout;
}

ClientOptions& ClientOptions::attemptTimeout(std::chrono::milliseconds value) {
    m_body->attemptTimeout = value;
    m_body->attemptTimeoutSet = true;
    return *this;
}

std::chrono::milliseconds ClientOptions::attemptTimeout() const {
    return m_body->attemptTimeout;
}

ClientOptions& ClientOptions::connectTimeout(std::chrono::milliseconds value) {
    m_body->connectTimeout = value;
    return *this;
}

std::chrono::milliseconds ClientOptions::connectTimeout() const {
    return m_body->connectTimeout;
}

ClientOptions& ClientOptions::connectTo(std::string value) {
    m_body->connectTo = std::move(value);
    return *this;
}

std::string ClientOptions::connectTo() const {
    return m_body->connectTo;
}

ClientOptions& ClientOptions::tls(TlsOptions value) {
    m_body->tls = std::move(value);
    return *this;
}

TlsOptions ClientOptions::tls() const {
    return m_body->tls;
}

ClientOptions& ClientOptions::retry(RetryPolicy value) {
    m_body->retry = std::move(value);
    return *this;
}

RetryPolicy ClientOptions::retry() const {
    return m_body->retry;
}

ClientOptions& ClientOptions::decompress(bool value) {
    m_body->decompress = value;
    return *this;
}

bool ClientOptions::decompress() const {
    return m_body->decompress;
}

ClientOptions& ClientOptions::maxBody(std::uint64_t value) {
    m_body->maxBody = value;
    return *this;
}

std::uint64_t ClientOptions::maxBody() const {
    return m_body->maxBody;
}

ClientOptions& ClientOptions::maxHead(std::size_t value) {
    m_body->maxHead = value;
    return *this;
}

std::size_t ClientOptions::maxHead() const {
    return m_body->maxHead;
}

ClientOptions& ClientOptions::userAgent(std::string value) {
    m_body->userAgent = std::move(value);
    return *this;
}

std::string ClientOptions::userAgent() const {
    return m_body->userAgent;
}

} // namespace httpclient
