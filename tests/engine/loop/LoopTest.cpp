// SPDX-License-Identifier: Apache-2.0
// What a loop shares with others, and what it never does.
#include <algorithm>
#include <map>
#include <thread>

#include <httpclient/testing/Certificates.h>
#include <httpclient/testing/Environment.h>
#include <httpclient/testing/Files.h>
#include <httpclient/testing/ResourceListener.h>
#include <httpclient/testing/TlsLoopbackServer.h>
#include <httpclient/testing/TlsRoot.h>

#include "interpose/Allocations.h"
#include "loop/AsyncTest.h"
#include "loop/Steps.h"
#include "setting/DeafListener.h"
#include "tests/support/HashedName.h"

namespace {

class LoopTest : public AsyncTest {};

TEST_F(LoopTest, CallsOfBothDriversShareOnePool) {
    Remake(EngineOptions().maxConnections(1, 1));
    ScriptedServer server(AnswerAll());
    const Client client = ClientOf(server);
    EXPECT_EQ(ToldFully(client.Send(Get())), "200 answer, attempts 1");
    EXPECT_EQ(ToldFully(client.SendAsync(Get()).get()), "200 answer, attempts 1, reused");
    EXPECT_EQ(ToldFully(client.Send(Get())), "200 answer, attempts 1, reused");
    EXPECT_EQ(server.accepted(), 1U);
}

TEST_F(LoopTest, CallsOfBothDriversWaitInOneLine) {
    Remake(EngineOptions().maxConnections(1, 1));
    Moment go;
    ScriptedServer server([&](Peer& peer) {
        for (int number = 1; peer.Expect("\r\n\r\n"); ++number) {
            go.Wait();
            peer.Send(Answer(std::to_string(number)));
        }
    });
    const Client client = ClientOf(server);
    std::future<Result> first = client.SendAsync(Get());
    ASSERT_TRUE(Becomes([&] { return server.accepted() == 1; }));
    std::vector<std::thread> blocking;
    std::vector<std::future<Result>> futures;
    std::atomic<int> answers{0};
    for (int number = 0; number < 4; ++number) {
        blocking.emplace_back([&] { answers += client.Send(Get()) ? 1 : 0; });
        futures.push_back(client.SendAsync(Get()));
    }
    go.Come();
    EXPECT_EQ(Told(first.get()), "200 1");
    for (auto& future : futures) {
        answers += future.get() ? 1 : 0;
    }
    for (std::thread& thread : blocking) {
        thread.join();
    }
    EXPECT_EQ(answers, 8);
    EXPECT_EQ(server.accepted(), 1U);
}

TEST_F(LoopTest, NamesAreLookedUpElsewhere) {
    kit::LoopbackServer server(Always());
    std::atomic<int> onLoop{0};
    std::atomic<int> elsewhere{0};
    const Steps steps([&](const Step& step) {
        if (step.what == Step::What::LookUp) {
            ++(step.onLoop ? onLoop : elsewhere);
        }
    });
    Start(ClientOf(OptionsFor("http://localhost:" + std::to_string(server.port()))), Get());
    EXPECT_EQ(m_ends.Told(), "200 answer");
    EXPECT_EQ(onLoop, 0);
    EXPECT_GE(elsewhere, 1);
}

class MaterialTest : public AsyncTest {
protected:
    /// Two calls, the second over a new connection. @return how many files were opened: elsewhere, on the loop.
    std::pair<int, int> OpenedBy(const ClientOptions& options, const std::string& told) {
        std::atomic<int> onLoop{0};
        std::atomic<int> elsewhere{0};
        const Steps steps([&](const Step& step) {
            if (step.what == Step::What::Open) {
                ++(step.onLoop ? onLoop : elsewhere);
            }
        });
        const Client client = ClientOf(options);
        for (int number = 0; number < 2; ++number) {
            EXPECT_EQ(Told(client.SendAsync(Get()).get()), told);
            m_engine->CloseIdleConnections();
        }
        return {elsewhere, onLoop};
    }

    const kit::CertificateAuthority m_authority;
    kit::TlsLoopbackServer m_server{Always(),
                                    {m_authority.IssueServer(), {}, kit::ClientCertificate::Ignore}};
};

TEST_F(MaterialTest, FilesAreReadElsewhere) {
    const kit::TemporaryDirectory directory;
    const std::string file = (directory.path() / "authorities.pem").string();
    kit::WritePrivateFile(file, m_authority.certificatePem());
    const auto [elsewhere, onLoop] =
        OpenedBy(OptionsFor(m_server).tls(TlsOptions().files(file)), "200 answer");
    EXPECT_EQ(onLoop, 0);
    EXPECT_GE(elsewhere, 1);
}

TEST_F(MaterialTest, TheSystemsAuthoritiesAreReadElsewhere) {
    const kit::TemporaryDirectory directory;
    directory.Write(HashedName(m_authority.certificatePem()), m_authority.certificatePem());
    const kit::ScopedEnvironment place("SSL_CERT_DIR", directory.path());
    const auto [elsewhere, onLoop] = OpenedBy(OptionsFor(m_server).tls(TlsOptions().files("")), "200 answer");
    EXPECT_EQ(onLoop, 0);
    EXPECT_GE(elsewhere, 1);
}

TEST_F(MaterialTest, ThePlatformsDirectoryOfAuthoritiesIsReadElsewhere) {
    const kit::CertificateAuthority another("Another CA");
    const kit::TlsRoot root(another.certificatePem(), another.IssueClient(), "", "");
    root.Replace(HashedName(m_authority.certificatePem()), m_authority.certificatePem());
    const kit::ScopedEnvironment place("SSL_ROOT", root.path());
    const auto [elsewhere, onLoop] = OpenedBy(OptionsFor(m_server), "200 answer");
    EXPECT_EQ(onLoop, 0);
    EXPECT_GE(elsewhere, 1);
}

TEST_F(MaterialTest, ADeadlinePassesWhileAPasswordIsAskedFor) {
    Moment goOn;
    const kit::Identity identity = m_authority.IssueClient();
    const kit::TemporaryDirectory directory;
    const std::string base = directory.path().string() + "/";
    kit::WritePrivateFile(base + "ca.pem", m_authority.certificatePem());
    kit::WritePrivateFile(base + "cert.pem", identity.certificatePem);
    kit::WritePrivateFile(base + "key.pem", kit::EncryptKey(identity.keyPem, "secret"));
    TlsOptions slow;
    slow.files(base + "ca.pem", base + "cert.pem", base + "key.pem").keyPassword([&] {
        goOn.Wait();
        return std::string("secret");
    });
    TlsOptions other;
    other.files(base + "ca.pem");
    Start(ClientOf(OptionsFor(m_server).tls(slow)), Get(), "slow");
    ASSERT_TRUE(m_server.WaitForConnections(1));
    // Waits behind it for the thread that reads material.
    Start(ClientOf(OptionsFor(m_server).tls(other)), Get().timeout(300ms), "other");
    EXPECT_EQ(m_ends.Told("other"), "Timeout in Handshake");
    // A loop that waited for it would not get here.
    kit::LoopbackServer plain(Always());
    EXPECT_EQ(Told(ClientOf(plain).SendAsync(Get()).get()), "200 answer");
    goOn.Come();
    EXPECT_EQ(m_ends.Told("slow"), "200 answer");
}

/// A loop may go on for one call only so long before it looks at the others.
class TurnTest : public AsyncTest {
protected:
    /// @return how many sends and receives there were at most between two turns.
    int LongestTurn(const std::function<void()>& act) {
        std::map<int, int> counts; // by descriptor, since the last turn; the loop's thread alone
        int most = 0;
        const Steps steps([&](const Step& step) {
            if (!step.onLoop) {
                return;
            }
            if (step.what == Step::What::Turn) {
                counts.clear();
            } else {
                most = std::max(most, ++counts[step.fd]);
            }
        });
        Steps::SendAtMost(1024);
        act();
        End();
        return most;
    }
};

TEST_F(TurnTest, ALongBodyThatComesDoesNotHoldUpTheOthers) {
    ScriptedServer server([](Peer& peer) {
        peer.Expect("\r\n\r\n");
        peer.Send(Answer(std::string(32UL << 20, 'x')));
        peer.ExpectEnd();
    });
    const Client client = ClientOf(server);
    EXPECT_LE(LongestTurn([&] { EXPECT_EQ(client.SendAsync(Get()).get()->body().size(), 32UL << 20); }), 32);
}

TEST_F(TurnTest, ALongBodyThatGoesDoesNotHoldUpTheOthers) {
    kit::LoopbackServer server(Always());
    const Client client = ClientOf(server);
    EXPECT_LE(LongestTurn([&] {
                  EXPECT_EQ(Told(client.SendAsync(Post(std::string(2UL << 20, 'x'))).get()), "200 answer");
              }),
              32);
}

TEST_F(TurnTest, AThousandThatAreReadyDoNotHoldUpADeadline) {
    // Of each origin so many as may dial at a time.
    constexpr int ORIGINS = 10;
    constexpr int CALLS = ORIGINS * 100;
    std::atomic<int> dialled{0};
    const Steps steps([&](const Step& step) {
        if (step.onLoop && step.what == Step::What::Connect) {
            std::this_thread::sleep_for(1ms); // a second in all
            ++dialled;
        }
    });
    Remake(EngineOptions().maxConnections(100, CALLS));
    std::vector<Client> clients;
    for (int number = 0; number < ORIGINS; ++number) {
        const std::string origin = "http://origin" + std::to_string(number);
        clients.push_back(ClientOf(ClientOptions(origin).connectTo("unix:/nobody/listens/here")));
    }
    for (std::size_t number = 0; number < CALLS; ++number) {
        Start(clients[number % ORIGINS], Get(), "refused");
    }
    Start(clients.front(), Get().timeout(50ms), "due");
    EXPECT_EQ(m_ends.Told("due"), "Timeout in Prepare");
    EXPECT_LT(dialled, CALLS / 2);
    EXPECT_TRUE(m_ends.Wait(CALLS + 1));
    EXPECT_EQ(m_ends.CountOf("Connect in Connect"), CALLS + 0U);
}

/// However many want to, only so many of one origin dial at a time; and those that its listener does not answer do not
/// keep the others from it for long.
TEST_F(LoopTest, DialsThatAreNotAnsweredHoldUpNobodyForLong) {
    constexpr std::size_t CALLS = 500;
    Remake(EngineOptions().maxConnections(CALLS, CALLS));
    const DeafListener deaf;
    std::mutex lock;
    std::vector<std::chrono::steady_clock::time_point> dials;
    const Steps steps([&](const Step& step) {
        if (step.onLoop && step.what == Step::What::Connect) {
            const std::lock_guard<std::mutex> guard(lock);
            dials.push_back(std::chrono::steady_clock::now());
        }
    });
    const Client client = ClientOf(OptionsFor(deaf.origin()).connectTimeout(1500ms));
    for (std::size_t number = 0; number < CALLS; ++number) {
        Start(client, Get());
    }
    EXPECT_TRUE(m_ends.Wait(CALLS));
    EXPECT_EQ(m_ends.CountOf("Timeout in Connect"), CALLS) << "none in line";
    const std::lock_guard<std::mutex> guard(lock);
    ASSERT_GE(dials.size(), CALLS);
    EXPECT_GE(dials[128] - dials[0], 50ms)
        << "a hundred, less what a busy machine keeps the first from dialling";
}

TEST_F(LoopTest, SmallCallsGoOnBesideAnEndlessOne) {
    std::atomic<bool> enough{false};
    ScriptedServer endless([&](Peer& peer) {
        peer.Expect("\r\n\r\n");
        peer.Send("HTTP/1.1 200 OK\r\n\r\n");
        const std::string piece(1UL << 20, 'x');
        while (!enough) {
            peer.Send(piece);
        }
    });
    kit::LoopbackServer server(Always());
    const Client client = ClientOf(server);
    Call longOne = Start(ClientOf(OptionsFor(endless.origin()).maxBody(1ULL << 40)),
                         Get().bodySink([](std::string_view) { return true; }), "long");
    for (int number = 0; number < 200; ++number) {
        EXPECT_EQ(Told(client.SendAsync(Get()).get()), "200 answer");
    }
    EXPECT_EQ(m_ends.Count(), 0U);
    longOne.Cancel();
    enough = true;
    EXPECT_EQ(m_ends.Told("long"), "Cancelled in Body");
}

TEST_F(LoopTest, AThousandCallsAtOnceNeedNoThreadsOfTheirOwn) {
    Remake(EngineOptions().maxConnections(8, 8));
    kit::LoopbackServer server(Always());
    const Client client = ClientOf(server);
    EXPECT_TRUE(client.Send(Get())); // the keeper
    const std::size_t before = kit::Resources::Now().threads;
    for (int number = 0; number < 1000; ++number) {
        Start(client, Get());
    }
    EXPECT_TRUE(m_ends.Wait(1000));
    EXPECT_EQ(m_ends.CountOf("200 answer"), 1000U);
    server.Stop();
    EXPECT_LE(kit::Resources::Now().threads, before - 1 + 4) << "loop, two for callbacks, one for work";
}

TEST_F(LoopTest, CallsAreSpreadOverLoops) {
    Remake(EngineOptions().loops(3));
    kit::LoopbackServer server(Always());
    const Client client = ClientOf(server);
    std::mutex lock;
    std::map<std::thread::id, int> sends;
    const Steps steps([&](const Step& step) {
        if (step.onLoop && step.what == Step::What::Send) {
            const std::lock_guard<std::mutex> guard(lock);
            ++sends[std::this_thread::get_id()];
        }
    });
    for (int number = 0; number < 30; ++number) {
        Start(client, Get());
    }
    EXPECT_TRUE(m_ends.Wait(30));
    const std::lock_guard<std::mutex> guard(lock);
    EXPECT_EQ(sends.size(), 3U);
}

TEST_F(LoopTest, CancelAllocatesNothing) {
    ScriptedServer silent([](Peer& peer) { peer.ExpectEnd(); });
    const Client client = ClientOf(silent);
    std::vector<Call> calls;
    for (int number = 0; number < 10; ++number) {
        calls.push_back(Start(client, Get()));
    }
    EXPECT_EQ(kit::AllocationsOf([&] {
                  for (Call& call : calls) {
                      call.Cancel();
                  }
              }),
              0U);
    EXPECT_TRUE(m_ends.Wait(10));
}

/// With host code that runs on the loop, the loop's allocations are counted from one callback to the next.
TEST_F(LoopTest, ADeadlineAndAWaitInLineAllocateNothing) {
    Remake(EngineOptions().executor(&Inline).maxConnections(1, 1));
    Moment asked;
    ScriptedServer silent([&](Peer& peer) {
        peer.Expect("\r\n\r\n");
        asked.Come();
        peer.ExpectEnd();
    });
    kit::LoopbackServer server(Always());
    const Client client = ClientOf(silent);
    Call holder = Start(client, Get(), "holder");
    asked.Wait();
    constexpr int CALLS = 20;
    std::vector<std::size_t> counts; // of the loop's thread alone
    std::unique_ptr<kit::CountedNew> counting;
    std::atomic<int> left{CALLS};
    for (int number = 0; number < CALLS; ++number) {
        client.Start(Get().timeout(std::chrono::milliseconds(300 + 10 * number)), [&](const Result&) {
            if (counting) {
                counts.push_back(counting->Count());
                counting.reset();
            }
            if (left > 1) {
                counting = std::make_unique<kit::CountedNew>();
            }
            --left;
        });
    }
    ASSERT_TRUE(Becomes([&] { return left == 0; }));
    holder.Cancel();
    EXPECT_EQ(m_ends.Told("holder"), "Cancelled in Head");
    End();
    ASSERT_EQ(counts.size(), CALLS - 1U);
    // What is told of a failure takes some, a text that is longer one more; waiting and its end take none.
    const auto [least, most] = std::minmax_element(counts.begin(), counts.end());
    EXPECT_LE(*most, *least + 2);
    EXPECT_LE(*most, 12U);
}

} // namespace
