// SPDX-License-Identifier: Apache-2.0
#include "Surroundings.h"

#include <vorncipher/VornMasterKey.h>

#include <httpclient/testing/RecordingTrace.h>

#include "Require.h"

using httpclient::testing::TraceRecorder;

const Surroundings& Surroundings::Instance() {
    static const Surroundings surroundings;
    return surroundings;
}

Surroundings::Surroundings()
    : m_sslRoot("SSL_ROOT", m_directory.path()), m_applicationRoot("APP_ROOT", m_directory.path()),
      m_applicationName("APP_NAME", "fuzz"), m_masterKey("VORN_KEY_FILE", m_directory.path() / "master.key"),
      m_maintenanceAddress("OVEX_MAINTENANCE_IP", "127.0.0.1") {
    httpclient::testing::ClearProxyEnvironment();
    Require(VornMasterKey::Make(m_directory.path() / "master.key") == VORN_OK, "a master key can be made");
}

void Surroundings::WriteManifest(std::string_view text) const {
    m_directory.Write("internal/manifest.json", text);
}

void Surroundings::WriteServiceUrls(std::string_view text) const {
    m_directory.Write("etc/authconf/jwt/service_url_config.json", text);
}

void Surroundings::WriteJwt(std::string_view text) const {
    m_directory.Write("etc/authconf/jwt/jwt_fuzz.json", text);
}

void StartLog() {
    TraceRecorder::Instance().Clear();
}

std::vector<std::string> Logged() {
    std::vector<std::string> lines;
    for (const auto& message : TraceRecorder::Instance().Messages()) {
        lines.push_back("[" + std::to_string(message.level) + "] " + message.body);
    }
    return lines;
}
