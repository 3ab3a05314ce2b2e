// SPDX-License-Identifier: Apache-2.0
#include "ExchangeTest.h"

#include "identity/HttpSiaToken.h"
#include "setting/Secrets.h"

using namespace httpclient::testing;

ExchangeTest::ExchangeTest()
    : m_maintenance(ProcessLoopbackAddress()), m_maintenanceVariable("OVEX_MAINTENANCE_IP", m_maintenance),
      m_service(m_tls.Server(), m_maintenance) {
    WriteServices(R"({"/orders/*": {"type": "sia", "service": "orders"},
                      "/orders": {"type": "sia", "service": "orders"},
                      "/stock": {"type": "sia", "service": "stock"}})");
    WriteJwt(R"({"jwt": ")" + Secret("jwt") + "\"}");
    for (const char* service : {"orders", "stock", ACCESS}) {
        m_service.SetTokens(service, {Nth(service, 1), Nth(service, 2), Nth(service, 3)});
    }
    Sia();
    EXPECT_EQ(NewLines(), (Lines{message::ServicesLoaded(3), message::JwtLoaded(Secret("jwt").size())}));
}

std::string ExchangeTest::Token(const std::string& url, bool bSiaAccess, int result) {
    std::string token = "before";
    EXPECT_EQ(Sia().GetSiaToken(url, token, bSiaAccess), result) << url;
    return token;
}

std::string ExchangeTest::Kept(const std::string& service) {
    SiaToken record;
    return Sia().GetTokenFromBuf(service, record) == 0 ? record.token : "none";
}

Lines ExchangeTest::NewLines() {
    const Lines all = Logged();
    const Lines fresh(all.begin() + static_cast<std::ptrdiff_t>(m_seen), all.end());
    m_seen = all.size();
    return fresh;
}

std::string ExchangeTest::Nth(const std::string& service, int n) {
    return Secret(service + "-" + std::to_string(n));
}

Lines ExchangeTest::ExchangeLines(const std::string& url, const std::string& service, std::size_t length,
                                  std::time_t receipt) {
    return {message::Mapped(url, service), message::Exchanged(length, receipt + LIFE)};
}
