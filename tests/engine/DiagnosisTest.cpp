// SPDX-License-Identifier: Apache-2.0
// What is wrong can be told by somebody who sees the metrics page and the log, and nothing else.
#include "setting/Diagnosis.h"

#include <string>
#include <thread>
#include <vector>

#include <httpclient/testing/Certificates.h>
#include <httpclient/testing/LoopbackServer.h>
#include <httpclient/testing/RecordingTrace.h>
#include <httpclient/testing/TlsLoopbackServer.h>

#include "setting/EngineTest.h"

namespace {

class Diagnosis : public EngineTest {
protected:
    explicit Diagnosis(EngineOptions options = {}) : EngineTest(std::move(options)) {
        kit::TraceRecorder::Instance().Clear();
    }
    std::string Told() const { return WhatIsWrong(m_engine.metricsText()); }
    /// Calls of which some are answered, as in life.
    void SendAll(const Client& client, int count = 5) {
        for (int call = 0; call < count; ++call) {
            static_cast<void>(client.Send(Get("/" + std::to_string(call))));
        }
    }
};

class DiagnosisOfOneConnection : public Diagnosis {
protected:
    DiagnosisOfOneConnection() : Diagnosis(EngineOptions().maxConnections(1, 100)) {}
};

} // namespace

TEST_F(Diagnosis, OfAServiceThatIsWell) {
    kit::LoopbackServer server(
        [](const kit::RecordedRequest& request) { return kit::Respond(request.target == "/3" ? 404 : 200); });
    SendAll(ClientOf(server));
    EXPECT_EQ(Told(), "by the page: nothing, by the log: nothing");
}

TEST_F(Diagnosis, OfAServerThatAnswersWithErrors) {
    kit::LoopbackServer server(
        [](const kit::RecordedRequest& request) { return kit::Respond(request.target == "/3" ? 200 : 500); });
    SendAll(ClientOf(server));
    EXPECT_EQ(Told(), "by the page: broken server, by the log: broken server");
}

TEST_F(Diagnosis, OfAServerThatBreaksConnections) {
    kit::LoopbackServer server([](const kit::RecordedRequest& request) {
        return request.target == "/3" ? kit::Silence(kit::After::Reset) : kit::Respond(200);
    });
    SendAll(ClientOf(OptionsFor(server)));
    const Client client = ClientOf(server);
    static_cast<void>(client.Send(Post("body", "/3")));
    EXPECT_EQ(Told(), "by the page: broken server, by the log: broken server");
}

TEST_F(Diagnosis, OfAServerThatRefusesConnections) {
    SendAll(ClientOf(OptionsFor("http://127.0.0.1:1")));
    EXPECT_EQ(Told(), "by the page: broken server, by the log: broken server");
}

TEST_F(Diagnosis, OfAServerThatIsSlow) {
    kit::LoopbackServer server([](const kit::RecordedRequest& request) {
        return request.target == "/3" ? kit::Silence(kit::After::Stall) : kit::Respond(200);
    });
    SendAll(ClientOf(OptionsFor(server).timeout(500ms)));
    EXPECT_EQ(Told(), "by the page: slow server, by the log: slow server");
}

TEST_F(DiagnosisOfOneConnection, OfAPoolThatIsFull) {
    kit::LoopbackServer server(
        [](const kit::RecordedRequest&) { return kit::Delayed(kit::Respond(200), 500ms); });
    const Client client = ClientOf(server);
    std::vector<std::thread> calls;
    calls.emplace_back([&] { EXPECT_TRUE(client.Send(Get())); });
    ASSERT_TRUE(server.WaitForRequests(1));
    for (int call = 0; call < 4; ++call) { // all of them in line, and none served in its time
        calls.emplace_back([&] { EXPECT_FALSE(client.Send(Get().timeout(400ms))); });
    }
    for (std::thread& call : calls) {
        call.join();
    }
    EXPECT_EQ(Told(), "by the page: full pool, by the log: full pool");
}

TEST_F(Diagnosis, OfACertificateThatHasExpired) {
    const kit::CertificateAuthority authority;
    kit::CertificateProfile profile;
    profile.commonName = "127.0.0.1";
    profile.addresses = {"127.0.0.1"};
    profile.validity = kit::Validity::Expired;
    kit::TlsOptions tls;
    tls.identity = authority.Issue(profile);
    kit::TlsLoopbackServer server(Always(), tls);
    SendAll(ClientOf(OptionsFor(server).tls(TlsOptions().memory(authority.certificatePem()))));
    EXPECT_EQ(Told(), "by the page: certificates, by the log: certificates");
}
