// SPDX-License-Identifier: Apache-2.0
// What a host does to its threads and signals while they are amid a call.
#include <atomic>
#include <csignal>
#include <cstring>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <dirent.h>
#include <pthread.h>
#include <unistd.h>

#include <httpclient/testing/Certificates.h>
#include <httpclient/testing/LoopbackServer.h>
#include <httpclient/testing/TlsLoopbackServer.h>

#include "setting/DeafListener.h"
#include "setting/EngineTest.h"
#include "setting/NameService.h"
#include "setting/ScriptedServer.h"
#include "tests/support/CountedSignals.h"

namespace {

/// A call on a thread that may be cancelled.
class Cancellable {
public:
    explicit Cancellable(std::function<void()> work) : m_work(std::move(work)) {
        pthread_create(&m_thread, nullptr, &Run, this);
    }
    /// @return whether the thread was cancelled, or left by pthread_exit(), and did not end by itself.
    bool WasUnwound() {
        void* result = nullptr;
        pthread_join(m_thread, &result);
        return result == PTHREAD_CANCELED;
    }
    void Cancel() { pthread_cancel(m_thread); }

private:
    static void* Run(void* self) {
        static_cast<Cancellable*>(self)->m_work();
        return nullptr;
    }

    const std::function<void()> m_work;
    pthread_t m_thread{};
};

class Cancel : public EngineTest {
protected:
    Cancel() : EngineTest(EngineOptions().maxConnections(1, 1)) {}

    /// Cancels a call that waits, and expects the next one to find everything in order.
    void CancelAmid(const Client& client, const Request& request, const std::function<bool()>& isThere) {
        Cancellable thread([&] { static_cast<void>(client.Send(request)); });
        EXPECT_TRUE(isThere());
        std::this_thread::sleep_for(10ms);
        thread.Cancel();
        EXPECT_TRUE(thread.WasUnwound());
        EXPECT_EQ(ToldFully(ClientOf(m_sound).Send(Get())), "200 answer, attempts 1")
            << "the only slot there is was given back";
        m_engine.CloseIdleConnections();
    }

    kit::LoopbackServer m_sound{Always()};
};

kit::LoopbackServer::Handler Silent() {
    return [](const kit::RecordedRequest&) { return kit::Silence(kit::After::Stall); };
}

} // namespace

TEST_F(Cancel, UnwindsACallThatWaitsForItsAnswer) {
    kit::LoopbackServer server(Silent());
    CancelAmid(ClientOf(server), Get(), [&] { return server.WaitForRequests(1); });
    EXPECT_TRUE(server.WaitForOpenConnections(0));
}

TEST_F(Cancel, UnwindsACallAmidABody) {
    kit::LoopbackServer server([](const kit::RecordedRequest&) {
        return kit::Raw("HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nhalf", kit::After::Stall);
    });
    CancelAmid(ClientOf(server), Get(), [&] { return server.WaitForRequests(1); });
    EXPECT_TRUE(server.WaitForOpenConnections(0));
}

TEST_F(Cancel, UnwindsACallThatSends) {
    kit::ServerOptions deaf;
    deaf.onAccept = [](unsigned int) { return kit::OnAccept::ReadNothing; };
    kit::LoopbackServer server(Always(), deaf);
    CancelAmid(ClientOf(server), Post(std::string(32UL * 1024 * 1024, 'x')),
               [&] { return server.WaitForConnections(1); });
}

TEST_F(Cancel, UnwindsACallThatConnects) {
    const DeafListener listener;
    CancelAmid(ClientOf(OptionsFor(listener.origin())), Get(), [] { return true; });
}

TEST_F(Cancel, UnwindsACallThatResolves) {
    NameService names;
    names.Hold("slow.test");
    CancelAmid(ClientOf(OptionsFor("http://slow.test")), Get(),
               [&] { return Becomes([&] { return names.LookUps("slow.test") == 1; }); });
}

TEST_F(Cancel, UnwindsACallAmidAHandshake) {
    const kit::CertificateAuthority ca;
    kit::ServerOptions deaf;
    deaf.onAccept = [](unsigned int) { return kit::OnAccept::ReadNothing; };
    kit::TlsLoopbackServer server(Always(), ServerTls(ca), deaf);
    CancelAmid(ClientOf(OptionsFor(server).tls(TlsOptions().memory(ca.certificatePem()))), Get(),
               [&] { return server.WaitForConnections(1); });
}

TEST_F(Cancel, UnwindsACallInLine) {
    Moment release;
    kit::LoopbackServer server([&](const kit::RecordedRequest&) {
        release.Wait();
        return kit::Then(kit::Respond(200), kit::After::Close);
    });
    const Client client = ClientOf(server);
    std::thread holder([&] { EXPECT_EQ(Told(client.Send(Get())), "200 "); });
    ASSERT_TRUE(server.WaitForConnections(1));
    Cancellable waiting([&] { static_cast<void>(client.Send(Get())); });
    std::this_thread::sleep_for(20ms);
    waiting.Cancel();
    EXPECT_TRUE(waiting.WasUnwound());
    release.Come();
    holder.join();
    EXPECT_EQ(ToldFully(ClientOf(m_sound).Send(Get())), "200 answer, attempts 1");
}

TEST_F(Cancel, UnwindsACallThatPauses) {
    kit::LoopbackServer server([](const kit::RecordedRequest&) {
        return kit::Respond(503, {{"Retry-After", "9"}});
    });
    CancelAmid(ClientOf(OptionsFor(server).retry(RetryPolicy().attempts(2))), Get(),
               [&] { return server.WaitForRequests(1); });
}

TEST_F(Cancel, UnwindsHostCodeOfACall) {
    kit::LoopbackServer server(Always());
    Moment there;
    const auto wait = [&] {
        there.Come();
        for (;;) {
            pause(); // where a thread may be cancelled
        }
        return false;
    };
    for (const Request& request : {Get().bodySink([&](std::string_view) { return wait(); }),
                                   Get().onHead([&](const Response&) { return wait(); }),
                                   Request(Method::Put, "/")
                                       .bodySource(
                                           [&]() -> BodySource {
                                               return [&](char*, std::size_t) -> std::ptrdiff_t {
                                                   return wait() ? 1 : 0;
                                               };
                                           },
                                           std::nullopt)}) {
        CancelAmid(ClientOf(server), request, [&] { return there.Wait(); });
        EXPECT_TRUE(server.WaitForOpenConnections(0));
    }
}

TEST_F(Cancel, WaitsWhereTheHostHasDisabledIt) {
    Moment release;
    kit::LoopbackServer server([&](const kit::RecordedRequest&) {
        release.Wait();
        return kit::Respond(200, {}, "whole");
    });
    const Client client = ClientOf(server);
    std::string told;
    Cancellable thread([&] {
        pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
        told = Told(client.Send(Get()));
    });
    ASSERT_TRUE(server.WaitForConnections(1));
    thread.Cancel();
    release.Come();
    EXPECT_FALSE(thread.WasUnwound());
    EXPECT_EQ(told, "200 whole");
}

TEST_F(Cancel, UnwindsHostCodeThatLeavesItsThread) {
    kit::LoopbackServer server(Always());
    const Client client = ClientOf(server);
    Cancellable thread([&] {
        static_cast<void>(
            client.Send(Get().bodySink([](std::string_view) -> bool { pthread_exit(PTHREAD_CANCELED); })));
    });
    EXPECT_TRUE(thread.WasUnwound());
    EXPECT_EQ(ToldFully(ClientOf(m_sound).Send(Get())), "200 answer, attempts 1");
}

namespace {

/// The signals that each thread of this process blocks, that of the test excepted.
std::vector<std::string> BlockedByOthers() {
    std::vector<std::string> masks;
    DIR* const tasks = opendir("/proc/self/task");
    while (const dirent* entry = readdir(tasks)) {
        const std::string name = entry->d_name;
        if (name[0] == '.' || name == std::to_string(getpid())) {
            continue;
        }
        std::ifstream status("/proc/self/task/" + name + "/status");
        for (std::string line; std::getline(status, line);) {
            if (line.compare(0, 7, "SigBlk:") == 0) {
                masks.push_back(line.substr(8));
            }
        }
    }
    closedir(tasks);
    return masks;
}

class Signals : public EngineTest {};

} // namespace

TEST_F(Signals, EveryMillisecondEndNoCallEarly) {
    const std::string content(300UL * 1000, 'x');
    kit::LoopbackServer server([&](const kit::RecordedRequest& request) {
        return request.target == "/slow" ? kit::Trickle(kit::Respond(200, {}, "slow"), 1ms)
                                         : kit::Respond(200, {}, request.body);
    });
    const Client client = ClientOf(server);
    const kit::Alarms alarms;
    EXPECT_EQ(Told(client.Send(Get("/slow"))), "200 slow");
    for (int call = 0; call < 5; ++call) {
        EXPECT_TRUE(Told(client.Send(Post(content))) == "200 " + content);
    }
    kit::LoopbackServer silent(Silent());
    const auto taken =
        TimeOf([&] { EXPECT_EQ(Told(ClientOf(silent).Send(Get().timeout(60ms))), "Timeout in Head"); });
    EXPECT_GE(taken, 60ms) << "nor does one shorten a deadline";
    EXPECT_GT(kit::Alarms::Taken(), 10);
}

TEST_F(Signals, EveryMillisecondShortenNoWaitInLine) {
    kit::LoopbackServer silent(Silent());
    Engine engine(EngineOptions().maxConnections(1, 1));
    const Client client(OptionsFor(silent), engine);
    std::thread holder([&] { static_cast<void>(client.Send(Get().timeout(300ms))); });
    ASSERT_TRUE(silent.WaitForRequests(1));
    const kit::Alarms alarms;
    const auto taken = TimeOf([&] { EXPECT_EQ(Told(client.Send(Get().timeout(60ms))), "Timeout in Lease"); });
    EXPECT_GE(taken, 60ms);
    holder.join();
}

TEST_F(Signals, OfABrokenPipeAreNeverRaised) {
    struct sigaction fatal {};
    struct sigaction former {};
    fatal.sa_handler = SIG_DFL;
    sigaction(SIGPIPE, &fatal, &former);
    ScriptedServer server([](Peer& peer) {
        peer.Expect("\r\n\r\n");
        peer.Reset();
    });
    EXPECT_EQ(Told(ClientOf(OptionsFor(server.origin())).Send(Post(std::string(8UL * 1024 * 1024, 'x')))),
              "ConnectionLost in Send");
    sigaction(SIGPIPE, &former, nullptr);
}

TEST_F(Signals, AreNotDeliveredToTheLibrarysThreads) {
    kit::LoopbackServer server(Always());
    const std::size_t before = BlockedByOthers().size();
    EXPECT_EQ(Told(ClientOf(OptionsFor("http://localhost:" + std::to_string(server.port()))).Send(Get())),
              "200 answer");
    const std::vector<std::string> masks = BlockedByOthers();
    EXPECT_GE(masks.size(), before + 2) << "the keeper's and a resolver's are among them";
    const unsigned long wanted = (1UL << (SIGALRM - 1)) | (1UL << (SIGTERM - 1)) | (1UL << (SIGUSR1 - 1));
    for (const std::string& mask : masks) {
        EXPECT_EQ(std::stoul(mask, nullptr, 16) & wanted, wanted) << mask;
    }
}

TEST_F(Signals, LeaveTheMaskOfTheCallingThreadAsItWas) {
    kit::LoopbackServer server(Always());
    sigset_t before{}; // the system fills in less than the whole
    sigset_t after{};
    pthread_sigmask(SIG_SETMASK, nullptr, &before);
    EXPECT_EQ(Told(ClientOf(server).Send(Get())), "200 answer");
    pthread_sigmask(SIG_SETMASK, nullptr, &after);
    EXPECT_EQ(std::memcmp(&before, &after, sizeof before), 0);
}
