// SPDX-License-Identifier: Apache-2.0
// A token is exchanged for a call, with each of the fallible calls failing in turn: those of the call, and those of the
// exchange on its thread. The engine begins with each, so that no token is there.
#include <optional>
#include <string>

#include <openssl/crypto.h>

#include <httpclient/testing/Environment.h>
#include <httpclient/testing/FakeTokenService.h>

#include "setting/TlsSetting.h"
#include "torture/Torture.h"

namespace {

class TokenTorture : public Torture {
protected:
    TokenTorture() {
        m_application.Write("etc/authconf/jwt/service_url_config.json",
                            R"({"/orders": {"type": "sia", "service": "orders"}})");
        m_application.Write("etc/authconf/jwt/jwt_billing.json", R"({"jwt": "the credential"})");
        m_service.SetTokens("orders", {"the token"});
    }

    /// Lets in who has the token.
    kit::LoopbackServer::Handler Admitting() {
        return [this](const kit::RecordedRequest& request) {
            ++m_handled;
            return request.Header("x-access-token") == "the token" ? kit::Respond(200, {}, "answer")
                                                                   : kit::Respond(403, {}, "who are you");
        };
    }
    void Begin() {
        m_engine.emplace(EngineOptions().maxConnections(1, 1));
        m_client.emplace(OptionsFor(m_server).identity(Identity::Platform), *m_engine);
    }
    void End() {
        m_client.reset();
        m_engine.reset();
        OPENSSL_thread_stop(); // OpenSSL keeps each thread's errors with their texts
    }

    const kit::TemporaryDirectory m_application;
    const std::string m_address = kit::ProcessLoopbackAddress();
    const kit::ScopedEnvironment m_root{"APP_ROOT", m_application.path()};
    const kit::ScopedEnvironment m_name{"APP_NAME", "billing"};
    const kit::ScopedEnvironment m_switch{"enableServiceIdentity", "true"};
    const kit::ScopedEnvironment m_maintenance{"OVEX_MAINTENANCE_IP", m_address};
    const TlsSetting m_tls;
    kit::FakeTokenService m_service{m_tls.Server(), m_address};
    kit::LoopbackServer m_server{Admitting()};
    std::optional<Engine> m_engine;
    std::optional<Client> m_client;
};

} // namespace

TEST_F(TokenTorture, OfAnExchangeIsSurvived) {
    const Request request = Get("/orders");
    const Client* client = nullptr;
    Scenario scenario;
    scenario.refused = "Identity in Token";
    scenario.lines = 3; // of the exchange's own call, of the exchange, and of the call
    scenario.prepare = [&] {
        Begin();
        client = &*m_client;
    };
    scenario.run = [&] { return EndOf(client->Send(request)); };
    scenario.clear = [&] {
        EXPECT_EQ(Told(Client(OptionsFor(m_server), *m_engine).Send(Get())), "403 who are you")
            << "over the only slot there is";
        End();
    };
    scenario.next = [&] {
        EXPECT_TRUE(FaultPlan::WaitForThreads());
        Begin();
        EXPECT_EQ(Told(m_client->Send(request)), "200 answer");
        End();
    };
    Run(scenario);
}
