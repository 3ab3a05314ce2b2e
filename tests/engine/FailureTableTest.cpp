// SPDX-License-Identifier: Apache-2.0
// Every kind of failure in every phase that it is possible in, each provoked once. Those of tokens have tests of
// their own; exhausted memory has, too.
#include <cstring>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <httpclient/testing/Certificates.h>
#include <httpclient/testing/LoopbackServer.h>
#include <httpclient/testing/TlsLoopbackServer.h>

#include "setting/DeafListener.h"
#include "setting/EngineTest.h"
#include "setting/NameService.h"
#include "setting/ScriptedServer.h"

namespace {

class FailureTable : public EngineTest {
protected:
    /// Expects a failure, and notes that it was provoked.
    void Expect(const std::string& wanted, const Result& result) {
        EXPECT_EQ(Told(result), wanted);
        if (result) {
            return;
        }
        m_seen.insert(Told(result));
        const std::string& message = result.failure().message();
        EXPECT_EQ(message.compare(0, wanted.size() + 2, wanted + ": "), 0) << message;
        EXPECT_EQ(message.find('\n'), std::string::npos) << "one line";
        EXPECT_EQ(message.find("secret"), std::string::npos) << message;
    }
    /// The same for a time-out; a busy machine needs more time to come as far as wanted.
    void ExpectSoon(const std::string& wanted, const std::function<Result(Request)>& send,
                    const Request& request = Get()) {
        for (const auto time : {30ms, 300ms, 3000ms}) {
            Result result = send(Request(request).timeout(time));
            if (time == 3000ms || Told(result) == wanted) {
                return Expect(wanted, result);
            }
        }
    }
    /// Sends to a server that answers so.
    Result Answered(const kit::Reply& reply, const Request& request = Get("/path?secret")) {
        kit::LoopbackServer server([&](const kit::RecordedRequest&) { return reply; });
        return ClientOf(OptionsFor(server).maxBody(10).maxHead(1000)).Send(request);
    }
    static kit::TlsOptions ServerTls(const kit::CertificateAuthority& ca) {
        kit::TlsOptions tls;
        tls.identity = ca.IssueServer();
        tls.clientCaPem = ca.certificatePem();
        return tls;
    }

    std::set<std::string> m_seen;
};

const std::string HEAD = "HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\n";

} // namespace

TEST_F(FailureTable, HasEveryKindInEveryPhaseThatItIsPossibleIn) {
    const auto noSource = Request(Method::Put, "/").bodySource([] { return BodySource(); }, 5);
    const Request upload = Post(std::string(32UL * 1024 * 1024, 'x'));
    const kit::Reply stalled = kit::Silence(kit::After::Stall);

    // InvalidRequest
    Expect("InvalidRequest in Prepare", Answered(kit::Respond(200), Get("no path")));
    Expect("InvalidRequest in Send",
           Answered(kit::Respond(200),
                    Request(Method::Put, "/")
                        .bodySource([] { return BodySource([](char*, std::size_t) { return 0; }); }, 5)));
    // Resolve, Connect
    NameService names;
    Expect("Resolve in Resolve", ClientOf(OptionsFor("http://none.test")).Send(Get("/?secret")));
    names.Set("refused.test", {"127.0.0.1"});
    Expect("Connect in Connect", ClientOf(OptionsFor("http://refused.test:1")).Send(Get("/?secret")));
    Expect("Connect in Connect", ClientOf(OptionsFor("http://h").connectTo("unix:/nowhere/x")).Send(Get()));
    // Timeout
    names.Hold("slow.test");
    const DeafListener listener;
    const auto by = [this](const ClientOptions& options) {
        return [client = ClientOf(options)](const Request& request) { return client.Send(request); };
    };
    ExpectSoon("Timeout in Resolve", by(OptionsFor("http://slow.test")));
    ExpectSoon("Timeout in Connect", by(OptionsFor(listener.origin())));
    ExpectSoon("Timeout in Head", [&](const Request& request) { return Answered(stalled, request); });
    ExpectSoon("Timeout in Body",
               [&](const Request& request) { return Answered(kit::Raw(HEAD, kit::After::Stall), request); });
    kit::ServerOptions deaf;
    deaf.onAccept = [](unsigned int) { return kit::OnAccept::ReadNothing; };
    kit::LoopbackServer readsNothing(Always(), deaf);
    ExpectSoon("Timeout in Send", by(OptionsFor(readsNothing)), upload);
    // Cancelled
    Expect("Cancelled in Send", Answered(kit::Respond(200), noSource));
    Expect("Cancelled in Body",
           Answered(kit::Respond(200, {}, "x"), Get().bodySink([](std::string_view) { return false; })));
    // ConnectionLost
    Expect("ConnectionLost in Head", Answered(kit::Silence(kit::After::Close)));
    Expect("ConnectionLost in Body", Answered(kit::Raw(HEAD + "half", kit::After::Close)));
    ScriptedServer resets([](Peer& peer) {
        peer.Expect("\r\n\r\n");
        peer.Reset();
    });
    Expect("ConnectionLost in Send", ClientOf(OptionsFor(resets.origin())).Send(upload));
    // Protocol
    ScriptedServer answersEarly(
        [](Peer& peer) {
            peer.Expect("\r\n\r\n");
            peer.Send("nonsense\r\n\r\n");
            peer.ExpectEnd();
        },
        16 * 1024);
    Expect("Protocol in Head", ClientOf(OptionsFor(answersEarly.origin())).Send(upload));
    Expect("Protocol in Head", Answered(kit::Raw("secret nonsense\r\n\r\n", kit::After::Close)));
    Expect("Protocol in Body",
           Answered(kit::Raw("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\nsecret\r\n",
                             kit::After::Close)));
    // TooLarge
    Expect("TooLarge in Head", Answered(kit::Respond(200, {{"A", std::string(2000, 'a')}})));
    Expect("TooLarge in Body", Answered(kit::Respond(200, {}, std::string(11, 'a'))));
    ScriptedServer tooLargeEarly(
        [](Peer& peer) {
            peer.Expect("\r\n\r\n");
            peer.Send("HTTP/1.1 200 OK\r\nA: " + std::string(100'000, 'a'));
            peer.ExpectEnd();
        },
        16 * 1024);
    Expect("TooLarge in Head", ClientOf(OptionsFor(tooLargeEarly.origin())).Send(upload));
    // Tls
    const kit::CertificateAuthority ca;
    const TlsOptions trust = TlsOptions().memory(ca.certificatePem());
    kit::TlsLoopbackServer demands(Always(), ServerTls(ca));
    Expect("Tls in Handshake", ClientOf(OptionsFor(demands).tls(TlsOptions().files("/nowhere"))).Send(Get()));
    for (int call = 0; call < 50 && m_seen.count("Tls in Head") == 0; ++call) {
        const Result refused = ClientOf(OptionsFor(demands).tls(trust)).Send(Get());
        m_seen.insert(Told(refused)); // in Send where the server is quicker
    }
    kit::TlsLoopbackServer noHandshake(Always(), ServerTls(ca), deaf);
    ExpectSoon("Timeout in Handshake", by(OptionsFor(noHandshake).tls(trust)));
    // Lease, Overloaded
    kit::LoopbackServer silent([&](const kit::RecordedRequest&) { return stalled; });
    const auto second = [&](std::size_t waiting) {
        Engine engine(EngineOptions().maxConnections(1, 1).maxWaiting(waiting));
        const Client client(OptionsFor(silent), engine);
        std::thread first([&] { static_cast<void>(client.Send(Get())); });
        EXPECT_TRUE(Becomes([&] { return silent.openConnections() == 1; }));
        Result result = client.Send(Get().timeout(300ms));
        engine.Shutdown(0ms);
        first.join();
        EXPECT_TRUE(silent.WaitForOpenConnections(0));
        return result;
    };
    Expect("Timeout in Lease", second(1));
    Expect("Overloaded in Lease", second(0));
    // Shutdown in each of its phases is provoked where engines end.
    m_engine.Shutdown(0ms);
    Expect("Shutdown in Prepare", ClientOf(silent).Send(Get()));

    EXPECT_EQ(m_seen.count("Tls in Head"), 1U);
    EXPECT_GE(m_seen.size(), 24U);
}
