// SPDX-License-Identifier: Apache-2.0
// Secrets stand in every place where one can stand, and neither log, failures nor metrics have them.
#include <algorithm>
#include <string>
#include <vector>

#include <httpclient/HttpClient.h>
#include <httpclient/HttpConnectionMgr.h>
#include <httpclient/HttpRequest.h>
#include <httpclient/HttpResponse.h>
#include <httpclient/testing/Certificates.h>
#include <httpclient/testing/Environment.h>
#include <httpclient/testing/LoopbackServer.h>
#include <httpclient/testing/RecordingTrace.h>
#include <httpclient/testing/TlsLoopbackServer.h>

#include "setting/EngineTest.h"

namespace {

constexpr const char* CANARY = "canary-of-the-";

std::string Canary(const std::string& place) {
    return CANARY + place;
}

/// Each level that a log can have; the last lets nothing through.
class CanaryTest : public EngineTest, public ::testing::WithParamInterface<int> {
protected:
    CanaryTest() {
        kit::TraceRecorder::Instance().Clear();
        kit::TraceRecorder::Instance().SetLowestLevel(GetParam());
    }
    ~CanaryTest() override { kit::TraceRecorder::Instance().SetLowestLevel(0); }

    /// A request with a secret wherever it takes one.
    static Request Secretive(Method method, const std::string& target) {
        Request request(method, target);
        request.header("Authorization", Canary("header"))
            .header("Cookie", "session=" + Canary("cookie"))
            .header("x-access-token", Canary("token"))
            .parameter("name", Canary("parameter"));
        if (method == Method::Post) {
            request.body(Canary("body"));
        }
        return request;
    }
    /// Sends on both drivers, and keeps what becomes of it.
    void Send(const Client& client, const Request& request) {
        Note(client.Send(request));
        Note(client.SendAsync(request).get());
    }
    void Note(const Result& result) {
        if (!result) {
            m_told += result.failure().message() + "\n";
        }
        ++m_calls;
    }
    /// @return everything that was said, and the first piece of a secret that stands in it.
    std::string Found() {
        std::string all = m_told + m_engine.metricsText();
        for (const kit::TracedMessage& message : kit::TraceRecorder::Instance().Messages()) {
            all += message.body + "\n";
        }
        const std::size_t at = all.find(CANARY);
        return at == std::string::npos ? "" : all.substr(at, all.find('\n', at) - at);
    }
    std::size_t Lines() const { return kit::TraceRecorder::Instance().Messages().size(); }

    std::string m_told;
    std::size_t m_calls = 0;
    // The engine uses no proxy; the other road does, but for what is not on this machine.
    const kit::ScopedEnvironment m_proxy{"http_proxy", "http://user:" + Canary("proxy") + "@127.0.0.1:1"};
    const kit::ScopedEnvironment m_noProxy{"no_proxy", "127.0.0.1"};
};

INSTANTIATE_TEST_SUITE_P(Levels, CanaryTest, ::testing::Values(0, 2, 3, 5, 6));

} // namespace

TEST_P(CanaryTest, IsInNoLineOfACallThatIsAnswered) {
    kit::LoopbackServer server([](const kit::RecordedRequest&) {
        return kit::Respond(200, {{"Set-Cookie", Canary("answers-cookie")}}, Canary("answer"));
    });
    const Client client = ClientOf(server);
    Send(client, Secretive(Method::Get, "/path?" + Canary("query")));
    Send(client, Secretive(Method::Post, "/path?" + Canary("query")));
    EXPECT_EQ(Found(), "");
    EXPECT_EQ(Lines(), GetParam() <= 3 ? m_calls : 0U);
}

TEST_P(CanaryTest, IsInNoLineOfACallThatFails) {
    const kit::Reply halfAnAnswer =
        kit::Raw("HTTP/1.1 200 OK\r\nContent-Length: 99\r\nA: " + Canary("answers-header") + "\r\n\r\n" +
                     Canary("answer"),
                 kit::After::Close);
    const std::vector<kit::Reply> replies = {
        halfAnAnswer, kit::Raw(Canary("nonsense") + "\r\n\r\n", kit::After::Close),
        kit::Raw("HTTP/1.1 200 OK\r\n" + Canary("line") + "\r\n\r\n", kit::After::Close),
        kit::Raw("HTTP/1.1 200 OK\r\nTransfer-Encoding: " + Canary("coding") + "\r\n\r\n", kit::After::Close),
        kit::Silence(kit::After::Stall)};
    for (const kit::Reply& reply : replies) {
        kit::LoopbackServer server([&](const kit::RecordedRequest&) { return reply; });
        Send(ClientOf(server),
             Secretive(Method::Post, "/path?" + Canary("query")).timeout(reply.pieces.empty() ? 50ms : LONG));
    }
    Send(ClientOf(OptionsFor("http://127.0.0.1:1")), Secretive(Method::Get, "/path"));
    EXPECT_EQ(Found(), "");
    EXPECT_EQ(Lines(), GetParam() <= 5 ? m_calls : 0U);
}

TEST_P(CanaryTest, IsInNoLineOfARequestThatIsRefused) {
    const Client client = ClientOf(OptionsFor("http://127.0.0.1:1"));
    for (const std::string& target :
         {"http://user:" + Canary("password") + "@host/path", "user:" + Canary("password") + "@host",
          "?" + Canary("query"), "/path?a b" + Canary("query"), "/path#" + Canary("fragment")}) {
        Send(client, Request(Method::Get, target));
    }
    Send(client, Get("/path").header("Authorization", Canary("header") + "\r\nforged: b"));
    Send(client, Get("/path").header("bad name", Canary("header")));
    Send(client, Get("/path").header("Content-Length", Canary("length")));
    EXPECT_EQ(Found(), "");
    EXPECT_EQ(Lines(), GetParam() <= 5 ? m_calls : 0U);
}

TEST_P(CanaryTest, IsInNoLineOfACallOverTls) {
    const kit::CertificateAuthority authority;
    const kit::Identity own = authority.IssueClient("client");
    kit::TlsOptions tls;
    tls.identity = authority.IssueServer();
    tls.clientCaPem = authority.certificatePem();
    kit::TlsLoopbackServer server(Always(), tls);
    const std::string key = kit::EncryptKey(own.keyPem, Canary("password"));
    const auto send = [&](const std::string& password) {
        const TlsOptions material =
            TlsOptions().memory(authority.certificatePem(), own.certificatePem, key).keyPassword([=] {
                return password;
            });
        try {
            Send(ClientOf(OptionsFor(server).tls(material)), Secretive(Method::Get, "/path"));
        } catch (const std::invalid_argument& refused) {
            m_told += refused.what();
        }
    };
    send(Canary("password"));
    EXPECT_EQ(m_calls, 2U);
    EXPECT_EQ(m_told, "");
    send(Canary("wrong-password"));
    EXPECT_NE(m_told, "");
    EXPECT_EQ(Found(), "");
}

TEST_P(CanaryTest, IsInNoLineOfTheOtherRoad) {
    kit::LoopbackServer server([](const kit::RecordedRequest&) {
        return kit::Respond(200, {{"Set-Cookie", Canary("answers-cookie")}}, Canary("answer"));
    });
    CHttpClient client;
    client.setDomain("127.0.0.1");
    client.setPort(server.port());
    for (const HTTPOPERATIONTYPE verb : {HTTPOPERATION_GET, HTTPOPERATION_POST, HTTPOPERATION_PUT}) {
        CHttpRequest request;
        request.setVerb(verb);
        request.setUrlPath("/path");
        request.setCustomCookieParam("session=" + Canary("cookie"));
        request.addRequestHeadEntry("Authorization", Canary("header"));
        request.addRequestHeadEntry("x-access-token", Canary("token"));
        request.addParam("name", Canary("parameter"));
        if (verb != HTTPOPERATION_GET) {
            request.setContent(Canary("body"));
        }
        CHttpResponse response;
        EXPECT_EQ(client.synSendRequest(request, response, false), 200);
    }
    EXPECT_EQ(server.requests().size(), 3U);
    EXPECT_EQ(Found(), "");
    CHttpConnectionMgr::Finalize();
    server.Stop();
}
