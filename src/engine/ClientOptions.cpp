// SPDX-License-Identifier: Apache-2.0
#include <utility>

#include <httpclient/Client.h>

#include "engine/Options.h"

namespace httpclient {

ClientOptions::ClientOptions(std::string origin) : m_body(std::make_unique<Body>()) {
    m_body->origin = std::move(origin);
}
ClientOptions::ClientOptions(const ClientOptions& other)
    : m_body(std::make_unique<Body>(other.internals())) {}
ClientOptions::ClientOptions(ClientOptions&& other) noexcept = default;
ClientOptions& ClientOptions::operator=(const ClientOptions& other) {
    return *this = ClientOptions(other);
}
ClientOptions& ClientOptions::operator=(ClientOptions&& other) noexcept = default;
ClientOptions::~ClientOptions() = default;

const ClientOptions::Body& ClientOptions::internals() const {
    static const Body& asNew =
        *new Body; // never destroyed, so that threads that outlive main() may still use it
    return m_body ? *m_body : asNew;
}

ClientOptions::Body& ClientOptions::Own() {
    if (!m_body) { // moved from
        m_body = std::make_unique<Body>();
    }
    return *m_body;
}

std::string ClientOptions::origin() const {
    return internals().origin;
}

ClientOptions& ClientOptions::timeout(std::chrono::milliseconds value) {
    Own().timeout = value;
    return *this;
}

std::chrono::milliseconds ClientOptions::timeout() const {
    return internals().timeout;
}

ClientOptions& ClientOptions::attemptTimeout(std::chrono::milliseconds value) {
    Own().attemptTimeout = value;
    Own().attemptTimeoutSet = true;
    return *this;
}

std::chrono::milliseconds ClientOptions::attemptTimeout() const {
    return internals().attemptTimeout;
}

ClientOptions& ClientOptions::connectTimeout(std::chrono::milliseconds value) {
    Own().connectTimeout = value;
    return *this;
}

std::chrono::milliseconds ClientOptions::connectTimeout() const {
    return internals().connectTimeout;
}

ClientOptions& ClientOptions::connectTo(std::string value) {
    Own().connectTo = std::move(value);
    return *this;
}

std::string ClientOptions::connectTo() const {
    return internals().connectTo;
}

ClientOptions& ClientOptions::tls(TlsOptions value) {
    Own().tls = std::move(value);
    return *this;
}

TlsOptions ClientOptions::tls() const {
    return internals().tls;
}

ClientOptions& ClientOptions::retry(RetryPolicy value) {
    Own().retry = std::move(value);
    return *this;
}

RetryPolicy ClientOptions::retry() const {
    return internals().retry;
}

ClientOptions& ClientOptions::identity(Identity value) {
    Own().identity = value;
    return *this;
}

ClientOptions& ClientOptions::identityAccess(bool value) {
    Own().identityAccess = value;
    return *this;
}

Identity ClientOptions::identity() const {
    return internals().identity;
}

ClientOptions& ClientOptions::decompress(bool value) {
    Own().decompress = value;
    return *this;
}

bool ClientOptions::decompress() const {
    return internals().decompress;
}

ClientOptions& ClientOptions::maxBody(std::uint64_t value) {
    Own().maxBody = value;
    return *this;
}

std::uint64_t ClientOptions::maxBody() const {
    return internals().maxBody;
}

ClientOptions& ClientOptions::maxHead(std::size_t value) {
    Own().maxHead = value;
    return *this;
}

std::size_t ClientOptions::maxHead() const {
    return internals().maxHead;
}

ClientOptions& ClientOptions::userAgent(std::string value) {
    Own().userAgent = std::move(value);
    return *this;
}

std::string ClientOptions::userAgent() const {
    return internals().userAgent;
}

} // namespace httpclient
