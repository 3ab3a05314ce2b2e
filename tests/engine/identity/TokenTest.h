// SPDX-License-Identifier: Apache-2.0
/// @file
/// What the tests of calls with service tokens share.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include <httpclient/testing/Environment.h>
#include <httpclient/testing/FakeTokenService.h>
#include <httpclient/testing/LoopbackServer.h>

#include "IdentityTest.h"
#include "engine/Core.h"
#include "setting/EngineTest.h"
#include "setting/ScriptedServer.h"
#include "setting/TlsSetting.h"

/// An engine, a process with a credential and the services "orders" and "stock", a token service at the maintenance
/// address, and a server that answers "answer" to all who have a token of "orders" or of "stock", and 403 to others.
class TokenTest : public IdentityTest {
protected:
    explicit TokenTest(EngineOptions options = {});

    /// @return options of a client that calls as the platform.
    static ClientOptions AsPlatform(const std::string& origin) {
        return OptionsFor(origin).identity(Identity::Platform);
    }
    Client ClientOf(const ClientOptions& options) { return Client(options, *m_engine); }
    Client PlatformClient() { return ClientOf(AsPlatform(m_server.url(""))); }
    /// @return the token that the token service gives a service at its n-th request.
    static std::string Nth(const std::string& service, int n);
    /// @return the tokens of a server's requests so far, in order; "none" where there was none.
    static std::vector<std::string> Seen(const kit::LoopbackServer& server);
    std::vector<std::string> Seen() const { return Seen(m_server); }
    /// @return how exchanges ended, as in "orders ok 2, stock Timeout 1".
    std::string Exchanged() const;
    engine::Core& core() const;
    /// Has the token service hold its answers until Release().
    void Hold();
    void Release() { m_released.Come(); }

    static constexpr const char* HEADER = "x-access-token";

    const TlsSetting m_tls;
    const std::string m_maintenance;
    const kit::ScopedEnvironment m_maintenanceVariable;
    Moment m_released;
    kit::FakeTokenService m_service;
    kit::LoopbackServer m_server;
    std::unique_ptr<Engine> m_engine;
};

using Tokens = std::vector<std::string>;
