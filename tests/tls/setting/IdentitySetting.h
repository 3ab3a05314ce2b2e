// SPDX-License-Identifier: Apache-2.0
/// @file
/// All that service identity needs besides TLS.
#pragma once

#include <string>

#include <httpclient/testing/Environment.h>
#include <httpclient/testing/FakeTokenService.h>

/// An application "billing" with a credential, whose requests to paths below "/orders/" carry tokens of the service
/// "orders"; and the environment that leads to its files and to the maintenance service.
class IdentitySetting {
public:
    explicit IdentitySetting(const std::string& credential) {
        m_application.Write("etc/authconf/jwt/service_url_config.json",
                            R"({"/orders/*": {"type": "sia", "service": "orders"}})");
        m_application.Write("etc/authconf/jwt/jwt_billing.json", R"({"jwt": ")" + credential + "\"}");
    }

    /// @return where the token service is to listen.
    const std::string& address() const { return m_address; }

private:
    const httpclient::testing::TemporaryDirectory m_application;
    const std::string m_address = httpclient::testing::ProcessLoopbackAddress();
    const httpclient::testing::ScopedEnvironment m_root{"APP_ROOT", m_application.path()};
    const httpclient::testing::ScopedEnvironment m_name{"APP_NAME", "billing"};
    const httpclient::testing::ScopedEnvironment m_switch{"enableServiceIdentity", "true"};
    const httpclient::testing::ScopedEnvironment m_maintenance{"OVEX_MAINTENANCE_IP", m_address};
};
