// SPDX-License-Identifier: Apache-2.0
#include <atomic>
#include <utility>

#include <httpclient/Client.h>

#include "engine/Options.h"

namespace httpclient {

TlsOptions::TlsOptions() : m_body(std::make_unique<Body>()) {}
TlsOptions::TlsOptions(const TlsOptions& other) : m_body(std::make_unique<Body>(other.internals())) {}
TlsOptions::TlsOptions(TlsOptions&& other) noexcept = default;
TlsOptions& TlsOptions::operator=(const TlsOptions& other) {
    return *this = TlsOptions(other);
}
TlsOptions& TlsOptions::operator=(TlsOptions&& other) noexcept = default;
TlsOptions::~TlsOptions() = default;

const TlsOptions::Body& TlsOptions::internals() const {
    static const Body& asNew =
        *new Body; // never destroyed, so that threads that outlive main() may still use it
    return m_body ? *m_body : asNew;
}

TlsOptions::Body& TlsOptions::Own() {
    if (!m_body) { // moved from
        m_body = std::make_unique<Body>();
    }
    return *m_body;
}

namespace {

void SetMaterial(net::TlsSettings& settings, net::TlsSettings::From from, std::string&& authorities,
                 std::string&& certificate, std::string&& key) {
    settings.from = from;
    settings.authorities = std::move(authorities);
    settings.certificate = std::move(certificate);
    settings.key = std::move(key);
}

} // namespace

TlsOptions& TlsOptions::files(std::string authorities, std::string certificate, std::string key) {
    SetMaterial(Own().settings, net::TlsSettings::From::Files, std::move(authorities), std::move(certificate),
                std::move(key));
    return *this;
}

TlsOptions& TlsOptions::memory(std::string authorities, std::string certificate, std::string key) {
    SetMaterial(Own().settings, net::TlsSettings::From::Memory, std::move(authorities),
                std::move(certificate), std::move(key));
    return *this;
}

TlsOptions& TlsOptions::keyPassword(std::function<std::string()> ask) {
    static std::atomic<std::uint64_t> last{0};
    Own().passwordId = ask ? ++last : 0;
    Own().settings.keyPassword = std::move(ask);
    return *this;
}

std::function<std::string()> TlsOptions::keyPassword() const {
    return internals().settings.keyPassword;
}

TlsOptions& TlsOptions::verifyHost(bool value) {
    Own().settings.verifyHost = value;
    return *this;
}

bool TlsOptions::verifyHost() const {
    return internals().settings.verifyHost;
}

TlsOptions& TlsOptions::serverName(std::string value) {
    Own().settings.name = std::move(value);
    return *this;
}

std::string TlsOptions::serverName() const {
    return internals().settings.name;
}

} // namespace httpclient
