// SPDX-License-Identifier: Apache-2.0
// A forked child takes no lock and touches no connection of its parent, and starts with an engine of its own.
#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <httpclient/testing/Certificates.h>
#include <httpclient/testing/Environment.h>
#include <httpclient/testing/LoopbackServer.h>
#include <httpclient/testing/RecordingTrace.h>
#include <httpclient/testing/TlsLoopbackServer.h>

#include "setting/EngineTest.h"
#include "setting/ScriptedServer.h"
#include "tests/support/CountedExit.h"

// The thread sanitizer does not let a child of several threads start others.
#ifndef __SANITIZE_THREAD__

namespace {

class Fork : public EngineTest {
protected:
    /// Runs something in a forked child. @return what it told.
    static std::string InChild(const std::function<std::string()>& work) {
        int ends[2];
        EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
        const pid_t child = fork();
        if (child == 0) {
            alarm(60); // a child that hangs does not stay
            const std::string told = work();
            static_cast<void>(write(ends[1], told.data(), told.size()));
            kit::ExitCounted(0);
        }
        close(ends[1]);
        return AllOf(ends[0], child);
    }
    /// Waits for a child. @return what it has written.
    static std::string AllOf(int end, pid_t child) {
        std::string told(4096, '\0');
        const ssize_t size = read(end, told.data(), told.size());
        told.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
        close(end);
        int status = 0;
        waitpid(child, &status, 0);
        return WIFEXITED(status) && WEXITSTATUS(status) == 0 ? told : "died: " + std::to_string(status);
    }
};

} // namespace

TEST_F(Fork, GivesTheChildConnectionsOfItsOwn) {
    kit::LoopbackServer server(Always());
    const Client client = ClientOf(server);
    ASSERT_EQ(Told(client.Send(Get())), "200 answer");
    EXPECT_EQ(InChild([&] {
                  const std::string first = ToldFully(client.Send(Get()));
                  return first + "; " + ToldFully(client.Send(Get()));
              }),
              "200 answer, attempts 1; 200 answer, attempts 1, reused");
    EXPECT_EQ(ToldFully(client.Send(Get())), "200 answer, attempts 1, reused") << "the parent's is untouched";
    EXPECT_EQ(server.connectionsAccepted(), 2U);
}

TEST_F(Fork, GivesTheChildTlsConnectionsOfItsOwn) {
    const kit::CertificateAuthority ca;
    kit::TlsLoopbackServer server(Always(), ServerTls(ca));
    const Client client = ClientOf(OptionsFor(server).tls(TlsOptions().memory(ca.certificatePem())));
    ASSERT_EQ(Told(client.Send(Get())), "200 answer");
    EXPECT_EQ(InChild([&] { return ToldFully(client.Send(Get())); }), "200 answer, attempts 1");
    EXPECT_EQ(ToldFully(client.Send(Get())), "200 answer, attempts 1, reused");
}

TEST_F(Fork, GivesTheChildTheSameOptions) {
    kit::LoopbackServer server(Always());
    Engine engine(EngineOptions().maxConnections(1, 1).maxWaiting(0));
    const Client client(OptionsFor(server), engine);
    ASSERT_EQ(Told(client.Send(Get())), "200 answer");
    EXPECT_EQ(InChild([&] {
                  std::string inner;
                  const Request request = Get().onHead([&](const Response&) {
                      inner = Told(client.Send(Get()));
                      return true;
                  });
                  const std::string outer = Told(client.Send(request));
                  return outer + "; " + inner;
              }),
              "200 answer; Overloaded in Lease");
}

TEST_F(Fork, LetsTheChildEndItsEngineAlone) {
    kit::LoopbackServer server(Always());
    const Client client = ClientOf(server);
    ASSERT_EQ(Told(client.Send(Get())), "200 answer");
    EXPECT_EQ(InChild([&] {
                  m_engine.CloseIdleConnections();
                  const std::string before = Told(client.Send(Get()));
                  m_engine.Shutdown(0ms);
                  return before + "; " + Told(client.Send(Get()));
              }),
              "200 answer; Shutdown in Prepare");
    EXPECT_EQ(ToldFully(client.Send(Get())), "200 answer, attempts 1, reused");
}

TEST_F(Fork, LeavesCallsOfTheParentAlone) {
    Moment release;
    kit::LoopbackServer server([&](const kit::RecordedRequest& request) {
        if (request.target == "/held") {
            release.Wait();
        }
        return kit::Respond(200, {}, request.target);
    });
    const Client client = ClientOf(server);
    std::thread caller(
        [&] { EXPECT_EQ(ToldFully(client.Send(Post("x", "/held"))), "200 /held, attempts 1"); });
    ASSERT_TRUE(server.WaitForConnections(1));
    EXPECT_EQ(InChild([&] { return Told(client.Send(Get("/child"))); }), "200 /child");
    release.Come();
    caller.join();
}

TEST_F(Fork, AmidHostCodeEndsTheCallInTheChildAndNotInTheParent) {
    kit::LoopbackServer server(Always());
    const Client client = ClientOf(server);
    pid_t child = -1;
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    const Request request = Get().bodySink([&](std::string_view) {
        child = fork();
        return true;
    });
    const std::string told = ToldFully(client.Send(request));
    if (child == 0) {
        alarm(60);
        const std::string all = told + "; " + Told(client.Send(Get()));
        static_cast<void>(write(ends[1], all.data(), all.size()));
        kit::ExitCounted(0);
    }
    close(ends[1]);
    EXPECT_EQ(told, "200 , attempts 1");
    EXPECT_EQ(AllOf(ends[0], child), "Internal in Body, sent, attempts 1; 200 answer");
    EXPECT_EQ(ToldFully(client.Send(Get())), "200 answer, attempts 1, reused");
}

TEST_F(Fork, AmidHostCodeSaysNoGoodbyeOnTheParentsTlsConnection) {
    const kit::CertificateAuthority ca;
    kit::TlsLoopbackServer server(Always(), ServerTls(ca));
    const Client client = ClientOf(OptionsFor(server).tls(TlsOptions().memory(ca.certificatePem())));
    pid_t child = -1;
    const Request request = Get().bodySink([&](std::string_view) {
        child = fork();
        if (child > 0) {
            waitpid(child, nullptr, 0); // the child has ended its call
        }
        return true;
    });
    const std::string told = ToldFully(client.Send(request));
    if (child == 0) {
        kit::ExitCounted(0);
    }
    EXPECT_EQ(told, "200 , attempts 1");
    EXPECT_EQ(ToldFully(client.Send(Get())), "200 answer, attempts 1, reused");
    EXPECT_EQ(server.connectionsAccepted(), 1U);
}

TEST_F(Fork, AmidThePasswordOfAKeyEndsTheCallInTheChildAndNotInTheParent) {
    const kit::CertificateAuthority ca;
    const kit::Identity identity = ca.IssueClient();
    kit::TlsOptions tls;
    tls.identity = ca.IssueServer();
    tls.clientCertificate = kit::ClientCertificate::Ignore;
    kit::TlsLoopbackServer server(Always(), tls);
    const kit::TemporaryDirectory files;
    files.Write("ca.pem", ca.certificatePem());
    files.Write("own.pem", identity.certificatePem);
    files.Write("key.pem", identity.keyPem);
    pid_t child = -1;
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    const Client client = ClientOf(OptionsFor(server).tls(
        TlsOptions()
            .files(files.path() / "ca.pem", files.path() / "own.pem", files.path() / "key.pem")
            .keyPassword([&] {
                child = fork();
                return std::string("none is needed");
            })));
    const std::string told = ToldFully(client.Send(Get()));
    if (child == 0) {
        static_cast<void>(write(ends[1], told.data(), told.size()));
        kit::ExitCounted(0);
    }
    close(ends[1]);
    EXPECT_EQ(told, "200 answer, attempts 1");
    EXPECT_EQ(AllOf(ends[0], child), "Internal in Handshake, not sent, attempts 1");
    EXPECT_EQ(ToldFully(client.Send(Get())), "200 answer, attempts 1, reused");
    EXPECT_EQ(server.connectionsAccepted(), 1U);
}

TEST_F(Fork, AmidCallsOfManyThreadsLetsEveryChildCall) {
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "a forked child may wait for the sanitizer's allocator, in which another thread was";
#endif
    kit::LoopbackServer server(Always());
    const Client client = ClientOf(OptionsFor("http://localhost:" + std::to_string(server.port())));
    kit::TraceRecorder::Instance().SetLowestLevel(
        6); // the log has a lock of its own, which a thread may hold
    std::atomic<bool> enough{false};
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i) {
        threads.emplace_back([&] {
            while (!enough) {
                EXPECT_EQ(Told(client.Send(Get())), "200 answer");
            }
        });
    }
    // A number for the name, so that the child takes no lock of the name service's.
    const Client ofChild = ClientOf(server);
    for (int round = 0; round < 25; ++round) {
        const std::string told = InChild([&] { return Told(ofChild.Send(Get())); });
        EXPECT_EQ(told, "200 answer") << round;
        if (told != "200 answer") {
            break;
        }
    }
    enough = true;
    kit::TraceRecorder::Instance().SetLowestLevel(0);
    for (std::thread& thread : threads) {
        thread.join();
    }
}

#endif
