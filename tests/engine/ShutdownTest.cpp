// SPDX-License-Identifier: Apache-2.0
// The ends of an engine, with calls under way in each state.
#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <httpclient/testing/Certificates.h>
#include <httpclient/testing/Environment.h>
#include <httpclient/testing/LoopbackServer.h>
#include <httpclient/testing/ResourceListener.h>
#include <httpclient/testing/TlsLoopbackServer.h>

#include "engine/Engines.h"
#include "engine/Options.h"
#include "engine/Statistics.h"
#include "setting/DeafListener.h"
#include "setting/EngineTest.h"
#include "setting/NameService.h"
#include "setting/ScriptedServer.h"

namespace {

/// A call on a thread of its own.
class CallOnAThread {
public:
    CallOnAThread(const Client& client, Request request)
        : m_thread([this, client, request = std::move(request)] {
              m_told = ToldFully(client.Send(request));
              m_done = true;
          }) {}
    ~CallOnAThread() {
        if (m_thread.joinable()) {
            m_thread.join();
        }
    }
    CallOnAThread(const CallOnAThread&) = delete;
    CallOnAThread& operator=(const CallOnAThread&) = delete;
    bool done() const { return m_done; }
    std::string Told() {
        m_thread.join();
        return m_told;
    }

private:
    std::string m_told;
    std::atomic<bool> m_done{false};
    std::thread m_thread;
};

class Shutdown : public ::testing::Test {
protected:
    Shutdown() { m_engine.emplace(EngineOptions().maxConnections(1, 10)); }
    Client ClientOf(const std::string& origin) { return Client(OptionsFor(origin), *m_engine); }

    /// Ends the engine while a call is under way, and expects an outcome of the call.
    /// @param client makes the client on the engine of the moment.
    /// @param isThere waits for what can be seen of the call; a busy machine may need more to come as far as wanted.
    void EndAmid(const std::string& wanted, const std::function<Client()>& client, const Request& request,
                 const std::function<bool()>& isThere) {
        std::string told;
        for (const auto settling : {20ms, 200ms, 2000ms}) {
            m_engine.emplace(EngineOptions().maxConnections(1, 10));
            const Client sender = client();
            CallOnAThread call(sender, request);
            EXPECT_TRUE(isThere());
            std::this_thread::sleep_for(settling);
            EXPECT_FALSE(call.done());
            bool inTime = false;
            const auto taken = TimeOf([&] {
                if (m_byDestructor) {
                    m_engine.reset();
                } else {
                    inTime = m_engine->Shutdown(10ms);
                }
            });
            EXPECT_FALSE(inTime) << "one was ended";
            EXPECT_LT(taken, TOLERANCE);
            told = call.Told();
            EXPECT_EQ(Told(sender.Send(Get())), "Shutdown in Prepare");
            if (told.compare(0, wanted.size(), wanted) == 0) {
                return;
            }
        }
        EXPECT_EQ(told, wanted);
    }

    std::optional<Engine> m_engine;
    bool m_byDestructor = false;
};

kit::LoopbackServer::Handler NeverAnswering() {
    return [](const kit::RecordedRequest&) { return kit::Silence(kit::After::Stall); };
}

bool AtOnce() {
    return true;
}

} // namespace

TEST_F(Shutdown, EndsCallsInEachState) {
    for (const bool byDestructor : {false, true}) {
        m_byDestructor = byDestructor;
        kit::LoopbackServer silent(NeverAnswering());
        EndAmid(
            "Shutdown in Head, sent, attempts 1", [&] { return ClientOf(silent.url("")); }, Post(),
            [&] { return silent.WaitForRequests(1); });

        kit::LoopbackServer half([](const kit::RecordedRequest&) {
            return kit::Raw("HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nhalf", kit::After::Stall);
        });
        EndAmid(
            "Shutdown in Body, sent, attempts 1", [&] { return ClientOf(half.url("")); }, Post(),
            [&] { return half.WaitForRequests(1); });

        kit::ServerOptions deaf;
        deaf.onAccept = [](unsigned int) { return kit::OnAccept::ReadNothing; };
        kit::LoopbackServer readsNothing(Always(), deaf);
        EndAmid(
            "Shutdown in Send, sent, attempts 1", [&] { return ClientOf(readsNothing.url("")); },
            Post(std::string(32UL * 1024 * 1024, 'x')), [&] { return readsNothing.WaitForConnections(1); });

        const kit::CertificateAuthority ca;
        kit::TlsLoopbackServer noHandshake(Always(), ServerTls(ca), deaf);
        const ClientOptions overTls =
            OptionsFor(noHandshake.url("")).tls(TlsOptions().memory(ca.certificatePem()));
        EndAmid(
            "Shutdown in Handshake, not sent, attempts 1", [&] { return Client(overTls, *m_engine); }, Get(),
            [&] { return noHandshake.WaitForConnections(1); });

        const DeafListener listener;
        EndAmid(
            "Shutdown in Connect, not sent, attempts 1", [&] { return ClientOf(listener.origin()); }, Get(),
            &AtOnce);

        NameService names;
        names.Hold("slow.test");
        EndAmid(
            "Shutdown in Resolve, not sent, attempts 1", [&] { return ClientOf("http://slow.test"); }, Get(),
            [&] { return Becomes([&] { return names.LookUps("slow.test") >= 1; }); });

        kit::LoopbackServer busy([](const kit::RecordedRequest&) {
            return kit::Respond(503, {{"Retry-After", "9"}});
        });
        const ClientOptions patient = OptionsFor(busy).retry(RetryPolicy().attempts(2));
        EndAmid(
            "Shutdown in Body, sent, attempts 1", [&] { return Client(patient, *m_engine); }, Get(),
            [&] { return busy.WaitForRequests(1); });
    }
}

TEST_F(Shutdown, EndsCallsInLine) {
    kit::LoopbackServer silent(NeverAnswering());
    const Client client = ClientOf(silent.url(""));
    CallOnAThread first(client, Get());
    ASSERT_TRUE(silent.WaitForRequests(1));
    CallOnAThread second(client, Get());
    CallOnAThread third(client, Get());
    std::this_thread::sleep_for(20ms);
    EXPECT_FALSE(m_engine->Shutdown(0ms));
    EXPECT_EQ(first.Told(), "Shutdown in Head, sent, attempts 1");
    EXPECT_EQ(second.Told(), "Shutdown in Lease, not sent, attempts 0");
    EXPECT_EQ(third.Told(), "Shutdown in Lease, not sent, attempts 0");
}

TEST_F(Shutdown, WaitsForCallsThatEndInTimeAndLetsNoneBegin) {
    Moment release;
    kit::LoopbackServer server([&](const kit::RecordedRequest&) {
        release.Wait();
        return kit::Respond(200, {}, "late");
    });
    const Client client = ClientOf(server.url(""));
    CallOnAThread call(client, Get());
    ASSERT_TRUE(server.WaitForConnections(1));
    std::this_thread::sleep_for(20ms);
    std::thread ending([&] { EXPECT_TRUE(m_engine->Shutdown(LONG)); });
    EXPECT_TRUE(Becomes([&] { return Told(client.Send(Get().timeout(1ms))) == "Shutdown in Prepare"; }));
    EXPECT_FALSE(call.done());
    release.Come();
    ending.join();
    EXPECT_EQ(call.Told(), "200 late, attempts 1");
    EXPECT_TRUE(server.WaitForOpenConnections(0)) << "every connection is closed";
}

TEST_F(Shutdown, IsFinal) {
    kit::LoopbackServer server(Always());
    const Client client = ClientOf(server.url(""));
    EXPECT_EQ(Told(client.Send(Get())), "200 answer");
    EXPECT_TRUE(m_engine->Shutdown(0ms));
    for (int call = 0; call < 3; ++call) {
        EXPECT_EQ(ToldFully(client.Send(Get())), "Shutdown in Prepare, not sent, attempts 0");
    }
    EXPECT_TRUE(m_engine->Shutdown(0ms));
    EXPECT_EQ(Told(ClientOf(server.url("")).Send(Get())), "Shutdown in Prepare");
    m_engine->CloseIdleConnections();
    EXPECT_EQ(server.connectionsAccepted(), 1U);
}

TEST_F(Shutdown, OfAnEngineThatWasNeverUsedIsFinalToo) {
    const Client client = ClientOf("http://127.0.0.1:1");
    EXPECT_TRUE(m_engine->Shutdown(LONG));
    EXPECT_EQ(Told(client.Send(Get())), "Shutdown in Prepare");
}

TEST_F(Shutdown, LeavesNeitherDescriptorNorThread) {
    kit::ServerOptions options;
    kit::LoopbackServer server(Always(), options);
    const kit::Resources before = kit::Resources::Now();
    const Client client = ClientOf("http://localhost:" + std::to_string(server.port()));
    EXPECT_EQ(Told(client.Send(Get())), "200 answer");
    EXPECT_TRUE(m_engine->Shutdown(0ms));
    EXPECT_TRUE(server.WaitForOpenConnections(0));
    const auto taken = TimeOf([&] {
        EXPECT_TRUE(Becomes([&] {
            const kit::Resources now = kit::Resources::Now();
            return now.descriptors == before.descriptors && now.threads == before.threads;
        })) << kit::DescribeDescriptors();
    });
    EXPECT_LT(taken, 4s) << "not when idle threads would have gone anyway";
}

TEST_F(Shutdown, MayBeCalledByHostCodeOfACall) {
    kit::LoopbackServer server(Always());
    const Client client = ClientOf(server.url(""));
    bool inTime = true;
    const Request request = Get().bodySink([&](std::string_view) {
        inTime = m_engine->Shutdown(LONG);
        return true;
    });
    EXPECT_EQ(ToldFully(client.Send(request)), "Shutdown in Body, sent, attempts 1");
    EXPECT_FALSE(inTime) << "its own call was ended";
}

TEST_F(Shutdown, MayBeCalledByHostCodeOfSeveralCallsAtOnce) {
    m_engine.emplace(EngineOptions());
    kit::LoopbackServer server(Always());
    const Client client = ClientOf(server.url(""));
    std::atomic<int> there{0};
    const Request request = Get().onHead([&](const Response&) {
        ++there;
        EXPECT_TRUE(Becomes([&] { return there == 3; }));
        m_engine->Shutdown(LONG);
        return true;
    });
    CallOnAThread one(client, request);
    CallOnAThread two(client, request);
    CallOnAThread three(client, request);
    for (CallOnAThread* call : {&one, &two, &three}) {
        EXPECT_EQ(call->Told(), "Shutdown in Body, sent, attempts 1");
    }
}

TEST_F(Shutdown, MayBeCalledByAPasswordFunction) {
    const kit::CertificateAuthority ca;
    const kit::Identity identity = ca.IssueClient();
    const kit::TemporaryDirectory files;
    kit::TlsLoopbackServer server(Always(), ServerTls(ca));
    TlsOptions own = TlsOptions().files(files.Write("ca.pem", ca.certificatePem()),
                                        files.Write("cert.pem", identity.certificatePem),
                                        files.Write("key.pem", kit::EncryptKey(identity.keyPem, "secret")));
    own.keyPassword([&] {
        m_engine->Shutdown(LONG);
        return std::string("secret");
    });
    EXPECT_EQ(Told(Client(OptionsFor(server).tls(own), *m_engine).Send(Get())), "Shutdown in Handshake");
}

TEST_F(Shutdown, MayBeCalledByManyThreads) {
    kit::LoopbackServer server(NeverAnswering());
    const Client client = ClientOf(server.url(""));
    CallOnAThread call(client, Get());
    ASSERT_TRUE(server.WaitForRequests(1));
    std::thread other([&] { m_engine->Shutdown(20ms); });
    m_engine->Shutdown(0ms);
    other.join();
    EXPECT_EQ(call.Told(), "Shutdown in Head, sent, attempts 1");
}

TEST_F(Shutdown, IsOutlivedByClients) {
    kit::LoopbackServer server(Always());
    const Client used = ClientOf(server.url(""));
    const Client unused = ClientOf(server.url(""));
    EXPECT_EQ(Told(used.Send(Get())), "200 answer");
    m_engine.reset();
    EXPECT_TRUE(server.WaitForOpenConnections(0));
    for (const Client& client : {used, unused, Client(used)}) {
        EXPECT_EQ(ToldFully(client.Send(Get())), "Shutdown in Prepare, not sent, attempts 0");
    }
}

TEST_F(Shutdown, ComesAmidManyCallsOfManyThreads) {
    kit::LoopbackServer server(Always());
    for (int round = 0; round < 20; ++round) {
        m_engine.emplace(EngineOptions().maxConnections(2, 2));
        const Client client = ClientOf(server.url(""));
        std::atomic<bool> ended{false};
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i) {
            threads.emplace_back([&] {
                for (;;) {
                    const bool before = ended;
                    const Result result = client.Send(Get());
                    if (!result) {
                        EXPECT_EQ(result.failure().kind(), FailureKind::Shutdown) << ToldFully(result);
                        return;
                    }
                    EXPECT_FALSE(before) << "no new call";
                }
            });
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(round % 5));
        m_engine->Shutdown(std::chrono::milliseconds(round % 3));
        ended = true;
        for (std::thread& thread : threads) {
            thread.join();
        }
    }
}

TEST(EngineEnds, AreNotHeldUpByTheCallsThatTheyRefuse) {
    for (int round = 0; round < 200; ++round) {
        engine::Core core(EngineOptions().internals(), std::make_shared<engine::Statistics>());
        std::atomic<bool> begun{false};
        std::atomic<bool> over{false};
        std::vector<std::thread> threads;
        for (int i = 0; i < 2; ++i) {
            threads.emplace_back([&] {
                while (!over) {
                    const engine::Core::Visit visit(core);
                    begun = true;
                }
            });
        }
        EXPECT_TRUE(Becomes([&] { return begun.load(); }));
        EXPECT_TRUE(core.Shutdown(LONG));
        over = true;
        for (std::thread& thread : threads) {
            thread.join();
        }
    }
}

TEST(EngineLives, BeginAgainAfterTheSharedOneIsRenewed) {
    Engine::Body body{EngineOptions()};
    EXPECT_EQ(body.inUse(), nullptr) << "nothing is made before the first use";
    body.Renew();
    engine::Core* const first = &body.core();
    EXPECT_EQ(&body.core(), first);
    const kit::Resources before = kit::Resources::Now();
    for (int life = 0; life < 5; ++life) {
        engine::Core* const core = &body.core();
        body.Renew();
        EXPECT_EQ(body.inUse(), nullptr);
        EXPECT_TRUE(core->ended());
        EXPECT_NE(&body.core(), core);
    }
    EXPECT_EQ(kit::Resources::Now().descriptors, before.descriptors) << "what is over holds nothing";
}

TEST(EngineLives, TakeTheLimitsThatWereRaised) {
    Engine::Body body(EngineOptions().maxConnections(1, 10));
    body.RaisePerOrigin(2);
    body.SetIdleTimeout(1s);
    body.core();
    body.RaisePerOrigin(3);
    body.SetIdleTimeout(2s);
    EXPECT_THROW(body.Configure(EngineOptions()), std::logic_error);
    EXPECT_THROW(body.Configure(EngineOptions().maxAge(0ms)), std::invalid_argument);
    body.Shutdown(0ms);
}
