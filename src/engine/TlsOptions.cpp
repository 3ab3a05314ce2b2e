// SPDX-License-Identifier: Apache-2.0
#include <atomic>
#include <utility>

#include <httpclient/Client.h>

#include "engine/Options.h"

namespace httpclient {

TlsOptions::TlsOptions() : m_body(std::make_unique<Body>()) {}
TlsOptions::TlsOptions(const TlsOptions& other) : m_body(std::make_unique<Body>(*other.m_body)) {}
TlsOptions::TlsOptions(TlsOptions&& other) noexcept = default;
TlsOptions& TlsOptions::operator=(const TlsOptions& other) {
    return *this = TlsOptions(other);
}
TlsOptions& TlsOptions::operator=(TlsOptions&& other) noexcept = default;
TlsOptions::~TlsOptions() = default;

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
    SetMaterial(m_body->settings, net::TlsSettings::From::Files, std::move(authorities),
                std::move(certificate), std::move(key));
    return *this;
}

TlsOptions& TlsOptions::memory(std::string authorities, std::string certificate, std::string key) {
    SetMaterial(m_body->settings, net::TlsSettings::From::Memory, std::move(authorities),
                std::move(certificate), std::move(key));
    return *this;
}

TlsOptions& TlsOptions::keyPassword(std::function<std::string()> ask) {
    static std::atomic<std::uint64_t> last{0};
    m_body->passwordId = ask ? ++last : 0;
    m_body->settings.keyPassword = std::move(ask);
    return *this;
}

std::function<std::string()> TlsOptions::keyPassword() const {
    return m_body->settings.keyPassword;
}

TlsOptions& TlsOptions::verifyHost(bool value) {
    m_body->settings.verifyHost = value;
    return *this;
}

bool TlsOptions::verifyHost() const {
    return m_body->settings.verifyHost;
}

TlsOptions& TlsOptions::serverName(std::string value) {
    m_body->settings.name = std::move(value);
    return *this;
}

std::string TlsOptions::serverName() const {
    return m_body->settings.name;
}

} // namespace httpclient
