// SPDX-License-Identifier: Apache-2.0
#include "identity/TokenTest.h"

#include "engine/Engines.h"
#include "setting/Log.h"
#include "setting/Secrets.h"

namespace {

kit::Reply Admit(const kit::RecordedRequest& request) {
    const std::string token = request.Header("x-access-token").value_or("");
    const bool known =
        token.find("-orders-") != std::string::npos || token.find("-stock-") != std::string::npos;
    return known ? kit::Respond(200, {}, "answer") : kit::Respond(403, {}, "who are you");
}

} // namespace

TokenTest::TokenTest(EngineOptions options)
    : m_maintenance(kit::ProcessLoopbackAddress()),
      m_maintenanceVariable("OVEX_MAINTENANCE_IP", m_maintenance), m_service(m_tls.Server(), m_maintenance),
      m_server(&Admit), m_engine(std::make_unique<Engine>(std::move(options))) {
    WriteServices(R"({"/orders*": {"type": "sia", "service": "orders"},
                      "/stock": {"type": "sia", "service": "stock"}})");
    WriteJwt(R"({"jwt": ")" + Secret("jwt") + "\"}");
    for (const char* service : {"orders", "stock", "ServiceIdentityAccessService"}) {
        m_service.SetTokens(service, {Nth(service, 1), Nth(service, 2), Nth(service, 3)});
    }
}

std::string TokenTest::Nth(const std::string& service, int n) {
    return Secret("token-" + service + "-" + std::to_string(n));
}

std::vector<std::string> TokenTest::Seen(const kit::LoopbackServer& server) {
    std::vector<std::string> tokens;
    for (const kit::RecordedRequest& request : server.requests()) {
        tokens.push_back(request.Header(HEADER).value_or("none"));
    }
    return tokens;
}

std::string TokenTest::Exchanged() const {
    std::string text;
    core().statistics().ForEachService([&text](const std::string& service, const auto& exchanges) {
        for (std::size_t i = 0; i < exchanges.size(); ++i) {
            if (exchanges[i].count() > 0) {
                text += (text.empty() ? "" : ", ") + service + " " + engine::Statistics::NameOfExchange(i) +
                        " " + std::to_string(exchanges[i].count());
            }
        }
    });
    return text;
}

engine::Core& TokenTest::core() const {
    return m_engine->m_body->core();
}

void TokenTest::Hold() {
    m_service.AnswerWith([this](const kit::RecordedRequest& request) {
        m_released.Wait();
        const bool orders = request.body.find("\"orders\"") != std::string::npos;
        return kit::Respond(200, {}, R"({"token": ")" + Nth(orders ? "orders" : "stock", 1) + "\"}");
    });
}
