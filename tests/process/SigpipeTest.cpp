// SPDX-License-Identifier: Apache-2.0
// What the process has set for SIGPIPE stays as it is. libcurl would save it, change it and restore it, and
// threads that do so at the same time restore what another one has changed.
#include <atomic>
#include <chrono>
#include <csignal>
#include <functional>
#include <future>
#include <limits>
#include <thread>
#include <utility>
#include <vector>

#include <unistd.h>

#include <ace/Time_Value.h>

#include <httpclient/HttpConnectionMgr.h>
#include <httpclient/HttpRequest.h>
#include <httpclient/HttpResponse.h>

#include "../faults/Gate.h"
#include "interpose/Next.h"
#include "pool/HttpConnection.h"
#include "tests/support/Process.h"

using namespace httpclient::testing;

namespace {

std::atomic<int> g_changes{0};
std::function<void()> g_afterChange; ///< Called by each thread that changes it.

} // namespace

// Stands before the C library's, and counts.
extern "C" __attribute__((visibility("default"))) int sigaction(int signal, const struct sigaction* action,
                                                                struct sigaction* former) noexcept {
    static const auto next = Next<int(int, const struct sigaction*, struct sigaction*)>("sigaction");
    if (signal == SIGPIPE && action != nullptr) {
        ++g_changes;
        if (g_afterChange) {
            g_afterChange();
        }
    }
    return next(signal, action, former);
}

namespace {

constexpr int THREADS = 4;

void OnSigpipe(int /*signal*/) {}

/// The host's own handler, for as long as it lives.
class HostsHandler {
public:
    HostsHandler() {
        struct sigaction own {};
        own.sa_handler = &OnSigpipe;
        sigaction(SIGPIPE, &own, &m_former);
        g_changes = 0;
    }
    ~HostsHandler() { sigaction(SIGPIPE, &m_former, nullptr); }
    HostsHandler(const HostsHandler&) = delete;
    HostsHandler& operator=(const HostsHandler&) = delete;

    static bool IsSet() {
        struct sigaction now {};
        sigaction(SIGPIPE, nullptr, &now);
        return now.sa_handler == &OnSigpipe;
    }

private:
    struct sigaction m_former {};
};

template <typename Function> void OnSomeThreads(const Function& function) {
    std::vector<std::thread> threads;
    for (int i = 0; i < THREADS; ++i) {
        threads.emplace_back(function);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

class Sigpipe : public GateTest {};

} // namespace

TEST_F(Sigpipe, IsNeverTouchedByRequestsThatComeAndGo) {
    const HostsHandler handler;
    OnSomeThreads([] {
        for (int i = 0; i < 250; ++i) {
            const CHttpRequest request;
            EXPECT_EQ(request.encodeParam("a b"), "a%20b");
        }
    });
    EXPECT_EQ(g_changes, 0);
    EXPECT_TRUE(HostsHandler::IsSet());
}

TEST_F(Sigpipe, IsNeverTouchedByASend) {
    LoopbackServer server([](const RecordedRequest&) { return Sound(); });
    for (const Way way : {Way::Fresh, Way::Kept, Way::Asynchronous}) {
        PointAt(server, way);
        const HostsHandler handler;
        Send(way);
        EXPECT_EQ(g_changes, 0);
        EXPECT_TRUE(HostsHandler::IsSet());
    }
    ClosePool();
}

// The pool closes its connections one at a time, under its lock, and so can no two of them meet.
TEST_F(Sigpipe, IsAsTheHostHasItWhileConnectionsComeAndGo) {
    LoopbackServer server([](const RecordedRequest&) { return Sound(); });
    const HostsHandler handler;
    CHttpConnectionMgr* const pool = CHttpConnectionMgr::Instance();
    pool->SetRlsTime(std::numeric_limits<std::int64_t>::min());
    OnSomeThreads([&] {
        CHttpClient client;
        client.setDomain(server.address());
        client.setPort(server.port());
        for (int i = 0; i < 50; ++i) {
            CHttpRequest request;
            request.setVerb(HTTPOPERATION_GET);
            CHttpResponse response;
            EXPECT_EQ(client.synSendRequest(request, response, false), 200);
            pool->handle_timeout(ACE_Time_Value::zero, nullptr);
        }
    });
    EXPECT_TRUE(HostsHandler::IsSet());
    ClosePool();
    EXPECT_TRUE(HostsHandler::IsSet());
}

// Each thread that is ended amid a send closes its own connection's handles, under no lock of the pool's, and does so
// while the pool closes connections, too. The handle may have been ended before its first option was set.
TEST_F(Sigpipe, IsAsTheHostHasItWhenEndedThreadsCloseTheirHandles) {
    const HostsHandler handler;
    g_afterChange = [] { std::this_thread::yield(); };
    // On a busy machine each turn that is yielded takes its time.
    const auto enough = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    OnSomeThreads([enough] {
        for (int i = 0; i < 250 && std::chrono::steady_clock::now() < enough; ++i) {
            CHttpConnection("host", 80).DropHandles();
            const CHttpConnection closedByThePool("host", 80);
        }
    });
    g_afterChange = nullptr;
    EXPECT_GT(g_changes, 0) << "libcurl has changed it";
    EXPECT_TRUE(HostsHandler::IsSet());
}

TEST_F(Sigpipe, HasNoForkedChildWaitForAThreadOfItsParentsThatCloses) {
    std::promise<void> closing;
    std::promise<void> forked;
    g_afterChange = [&, first = true]() mutable {
        if (std::exchange(first, false)) {
            closing.set_value();
            forked.get_future().wait();
        }
    };
    std::thread thread([] { const CHttpConnection closed("host", 80); });
    closing.get_future().wait();
    const Ended child = RunForked([] {
        alarm(30);
        g_afterChange = nullptr;
        { const CHttpConnection closed("host", 80); }
        _exit(0);
    });
    forked.set_value();
    thread.join();
    g_afterChange = nullptr;
    EXPECT_EQ(child.exitCode, 0);
}
