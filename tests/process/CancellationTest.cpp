// SPDX-License-Identifier: Apache-2.0
// Threads that end amid the library's work: the process goes on, and what they had borrowed is back.
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <pthread.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <httpclient/HttpConnectionMgr.h>
#include <httpclient/HttpRequest.h>
#include <httpclient/HttpResponse.h>
#include <httpclient/testing/Environment.h>
#include <httpclient/testing/Patience.h>
#include <httpclient/testing/RecordingTrace.h>
#include <httpclient/testing/TlsLoopbackServer.h>

#include "../faults/Gate.h"
#include "client/CurlCallbacks.h"
#include "client/HttpClientImp.h"
#include "hosts/HostRun.h"
#include "interpose/LentConnections.h"
#include "interpose/Next.h"
#include "interpose/Select.h"

using namespace httpclient::testing;

namespace {

thread_local int t_connectsUntilCancelled = 0; ///< 0: never

} // namespace

// Stands before the C library's. A thread that is cancelled as it connects ends right there, if it can.
extern "C" __attribute__((visibility("default"))) int connect(int socket, const sockaddr* address,
                                                              socklen_t length) {
    static const auto next = Next<int(int, const sockaddr*, socklen_t)>("connect");
    if (t_connectsUntilCancelled > 0 && --t_connectsUntilCancelled == 0) {
        pthread_cancel(pthread_self());
    }
    return next(socket, address, length);
}

namespace {

constexpr unsigned int LONGEST_TEST = 60; // seconds

/// Has a death test's child end with 0 if the body found no fault.
template <class Body> [[noreturn]] void RunAndExit(const Body& body) {
    alarm(LONGEST_TEST);
    body();
    std::exit(::testing::Test::HasFailure() ? 1 : 0);
}

template <class Condition> bool WaitFor(const Condition& condition) {
    const auto giveUp = std::chrono::steady_clock::now() + PATIENCE;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > giveUp) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

bool AllAreBack() {
    return WaitFor([] { return LentConnections::Count() == 0; });
}

/// A thread of the host's, which may be cancelled.
class Thread {
public:
    template <class Body>
    explicit Thread(Body body)
        : m_thread([this, body = std::move(body)] {
              m_id = gettid();
              body();
          }) {}
    /// Waits until the thread waits for its peer. Amid a send libcurl would lose some memory when it is
    /// cancelled.
    bool WaitUntilItPolls() const {
        return WaitFor([this] {
            std::ifstream call("/proc/self/task/" + std::to_string(m_id) + "/syscall");
            int number = -1;
            return call >> number && number == SYS_poll;
        });
    }
    /// Cancels the thread and waits for its end.
    /// @param then what is done in between.
    void Cancel(const std::function<void()>& then = [] {}) {
        EXPECT_EQ(pthread_cancel(m_thread.native_handle()), 0);
        then();
        m_thread.join();
    }
    void Join() { m_thread.join(); }

private:
    std::atomic<pid_t> m_id{0};
    std::thread m_thread;
};

/// An id of the C++ library's holds the C library's and nothing else.
pthread_t NativeOf(std::thread::id id) {
    pthread_t native{};
    static_assert(sizeof id == sizeof native);
    std::memcpy(&native, &id, sizeof native);
    return native;
}

class Cancellation : public GateTest {
protected:
    Cancellation() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

    /// Serves requests soundly, those of the path "/never" never.
    std::unique_ptr<LoopbackServer> Serve(Way way) {
        const LoopbackServer::Handler handler = [](const RecordedRequest& request) {
            return request.target == "/never" ? Delayed(Sound(), PATIENCE * 2) : Sound();
        };
        auto server = IsTls(way) ? std::make_unique<TlsLoopbackServer>(handler, m_tls.Server())
                                 : std::make_unique<LoopbackServer>(handler);
        PointAt(*server, way);
        return server;
    }

    /// Sends a request that is never answered.
    void SendForEver(
        Way way, void (*callback)(const CHttpResponse&) = [](const CHttpResponse&) {}) {
        CHttpRequest request;
        request.setVerb(HTTPOPERATION_GET);
        request.setUrlPath("/never");
        if (way == Way::Asynchronous) {
            m_client.asynSendRequest(request, callback, false);
        } else {
            CHttpResponse response;
            m_client.synSendRequest(request, response, IsTls(way));
            ADD_FAILURE() << "the thread goes on";
        }
    }

    void SendAsynchronously(void (*callback)(const CHttpResponse&)) {
        CHttpRequest request;
        request.setVerb(HTTPOPERATION_GET);
        request.setUrlPath("/");
        m_client.asynSendRequest(request, callback, false);
    }
};

} // namespace

TEST_F(Cancellation, OfASendDuringItsTransferKeepsProcessAndConnectionAlive) {
    for (const Way way : {Way::Fresh, Way::Kept, Way::TlsFresh, Way::TlsKept}) {
        EXPECT_EXIT(RunAndExit([&] {
                        const auto server = Serve(way);
                        if (IsKept(way)) {
                            ExpectNextToWork(way);
                        }
                        const std::size_t before = server->requests().size();
                        for (std::size_t i = 1; i <= 3; ++i) {
                            Thread sender([&] { SendForEver(way); });
                            EXPECT_TRUE(WaitFor([&] { return server->requests().size() == before + i; }));
                            EXPECT_TRUE(sender.WaitUntilItPolls());
                            sender.Cancel();
                            EXPECT_TRUE(AllAreBack());
                        }
                        ExpectNextToWork(way); // and the pool is looked at when the test ends
                    }),
                    ::testing::ExitedWithCode(0), "");
    }
}

TEST_F(Cancellation, OfASendThatMakesItsTlsConnectionKeepsProcessAndConnectionAlive) {
    EXPECT_EXIT(RunAndExit([&] {
                    const auto server = Serve(Way::TlsFresh);
                    for (std::size_t i = 1; i <= 3; ++i) {
                        Thread sender([&] {
                            t_connectsUntilCancelled = 1;
                            SendForEver(Way::TlsFresh);
                        });
                        sender.Join();
                        EXPECT_TRUE(AllAreBack());
                        EXPECT_TRUE(server->WaitForConnections(static_cast<unsigned int>(i)));
                    }
                    ExpectNextToWork(Way::TlsFresh);
                }),
                ::testing::ExitedWithCode(0), "");
}

// libcurl sends a request again if a kept connection turns out to be dead.
TEST_F(Cancellation, OfASendThatMakesItsTlsConnectionAnewKeepsProcessAndConnectionAlive) {
    EXPECT_EXIT(RunAndExit([&] {
                    TlsLoopbackServer server(
                        [](const RecordedRequest& request) {
                            return request.target != "/never" ? Sound()
                                   : request.connection == 1U ? Silence(After::Reset)
                                                              : Delayed(Sound(), PATIENCE * 2);
                        },
                        m_tls.Server());
                    PointAt(server, Way::TlsKept);
                    EXPECT_EQ(Send(Way::TlsKept).result, 200);
                    Thread sender([&] {
                        t_connectsUntilCancelled = 1;
                        SendForEver(Way::TlsKept);
                    });
                    sender.Join();
                    EXPECT_TRUE(AllAreBack());
                    EXPECT_TRUE(server.WaitForConnections(2));
                    ExpectNextToWork(Way::TlsKept);
                }),
                ::testing::ExitedWithCode(0), "");
}

// The proxy's certificate is not accepted: libcurl has read the system's authorities by then.
TEST_F(Cancellation, OfASendThatMakesATlsConnectionToAProxyWaitsForIt) {
    if (IsStrict()) {
        GTEST_SKIP() << "uses no proxy of the environment";
    }
    EXPECT_EXIT(RunAndExit([&] {
                    TlsLoopbackServer proxy([](const RecordedRequest&) { return Sound(); }, m_tls.Server());
                    const ScopedEnvironment variable("http_proxy", "https://" + proxy.address() + ":" +
                                                                       std::to_string(proxy.port()));
                    const ScopedEnvironment exceptions("no_proxy");
                    bool refused = false;
                    Thread sender([&] {
                        t_connectsUntilCancelled = 1;
                        refused = Send(Way::Fresh).error == CURLE_PEER_FAILED_VERIFICATION;
                        pthread_testcancel();
                        ADD_FAILURE() << "the thread goes on";
                    });
                    sender.Join();
                    EXPECT_TRUE(refused);
                }),
                ::testing::ExitedWithCode(0), "");
}

// Caught within a handler, the end of a thread would end the process.
TEST_F(Cancellation, OfASendWithinAHandlerOfTheHostsWaitsForItsEnd) {
    EXPECT_EXIT(RunAndExit([&] {
                    std::atomic<bool> cancelled{false};
                    LoopbackServer server([&](const RecordedRequest&) {
                        EXPECT_TRUE(WaitFor([&] { return cancelled.load(); }));
                        return Sound();
                    });
                    PointAt(server, Way::Fresh);
                    int result = 0;
                    Thread sender([&] {
                        try {
                            throw std::runtime_error("what the host reports");
                        } catch (const std::runtime_error&) {
                            result = Send(Way::Fresh).result;
                        }
                        pthread_testcancel();
                        ADD_FAILURE() << "the thread goes on";
                    });
                    EXPECT_TRUE(WaitFor([&] { return server.requests().size() == 1; }));
                    EXPECT_TRUE(sender.WaitUntilItPolls());
                    sender.Cancel([&] { cancelled = true; });
                    EXPECT_EQ(result, 200);
                    EXPECT_TRUE(AllAreBack());
                }),
                ::testing::ExitedWithCode(0), "");
}

TEST_F(Cancellation, OfASendThatWaitsForAConnectionLeavesTheProcess) {
    for (const Way way : {Way::Fresh, Way::Asynchronous}) {
        EXPECT_EXIT(RunAndExit([&] {
                        const auto server = Serve(way);
                        CHttpConnectionMgr* const pool = CHttpConnectionMgr::Instance();
                        std::vector<CHttpConnection*> all;
                        while (CHttpConnection* const conn =
                                   pool->GetConn(server->address(), server->port(), way != Way::Fresh)) {
                            all.push_back(conn);
                        }
                        Thread sender([&] {
                            SendForEver(way);
                            ADD_FAILURE() << "the thread goes on";
                        });
                        EXPECT_TRUE(
                            WaitFor([] { return TraceRecorder::Instance().CountContaining("wait 3s") > 0; }));
                        sender.Cancel();
                        for (CHttpConnection* const conn : all) {
                            pool->ReleaseConn(conn);
                        }
                        EXPECT_TRUE(AllAreBack());
                        EXPECT_EQ(Send(way).result, 200);
                    }),
                    ::testing::ExitedWithCode(0), "");
    }
}

// Wherever the first cancellation point is: in the log, the wait, the transfer, or after the send.
TEST_F(Cancellation, ThatIsPendingWhenASendBeginsLeavesTheProcess) {
    for (const Way way : {Way::Fresh, Way::TlsFresh, Way::Asynchronous}) {
        EXPECT_EXIT(RunAndExit([&] {
                        const auto server = Serve(way);
                        for (int i = 0; i < 3; ++i) {
                            Thread sender([&] {
                                pthread_cancel(pthread_self());
                                SendForEver(way);
                                pthread_testcancel();
                                ADD_FAILURE() << "the thread goes on";
                            });
                            sender.Join();
                            ClosePool();
                        }
                    }),
                    ::testing::ExitedWithCode(0), "");
    }
}

TEST_F(Cancellation, ThatIsPendingWhenThePoolEndsLeavesTheProcess) {
    EXPECT_EXIT(RunAndExit([&] {
                    const auto server = Serve(Way::Fresh);
                    ExpectNextToWork(Way::Fresh);
                    Thread ending([] {
                        pthread_cancel(pthread_self());
                        CHttpConnectionMgr::Finalize();
                        pthread_testcancel();
                        ADD_FAILURE() << "the thread goes on";
                    });
                    ending.Join();
                    ExpectNextToWork(Way::Fresh);
                }),
                ::testing::ExitedWithCode(0), "");
}

TEST_F(Cancellation, OfAWorkerInItsPauseLeavesTheProcessAndTheConnection) {
    EXPECT_EXIT(RunAndExit([&] {
                    const auto server = Serve(Way::Asynchronous);
                    for (std::size_t i = 1; i <= 3; ++i) {
                        const HeldSelect pauses;
                        SendForEver(Way::Asynchronous,
                                    [](const CHttpResponse&) { ADD_FAILURE() << "the worker goes on"; });
                        EXPECT_TRUE(WaitFor([&] { return server->requests().size() == i; }));
                        EXPECT_EQ(pthread_cancel(NativeOf(pauses.Calls().at(0).thread)), 0);
                        EXPECT_TRUE(AllAreBack());
                    }
                    ExpectNextToWork(Way::Asynchronous);
                }),
                ::testing::ExitedWithCode(0), "");
}

TEST_F(Cancellation, OfAWorkerByItsCallbackKeepsProcessAndConnectionAlive) {
    static std::atomic<std::size_t> calledBack{0};
    for (const auto callback : {+[](const CHttpResponse&) {
                                    ++calledBack;
                                    pthread_exit(nullptr);
                                },
                                +[](const CHttpResponse&) {
                                    ++calledBack;
                                    pthread_cancel(pthread_self());
                                },
                                +[](const CHttpResponse&) {
                                    ++calledBack;
                                    pthread_cancel(pthread_self());
                                    pthread_testcancel();
                                }}) {
        EXPECT_EXIT(RunAndExit([&] {
                        HeldSelect pauses;
                        pauses.Divide(100);
                        const auto server = Serve(Way::Asynchronous);
                        for (std::size_t i = 1; i <= 3; ++i) {
                            SendAsynchronously(callback);
                            // Under the STRICT profile the connection is back before the callback.
                            EXPECT_TRUE(WaitFor([&] { return calledBack == i; }));
                            EXPECT_TRUE(AllAreBack());
                        }
                        EXPECT_EQ(server->requests().size(), 3U);
                        EXPECT_EQ(server->connectionsAccepted(), 1U) << "the transfers were over";
                        ExpectNextToWork(Way::Asynchronous);
                    }),
                    ::testing::ExitedWithCode(0), "");
    }
}

TEST_F(Cancellation, OfTheCallerByACallbackOnItsThreadLeavesTheProcess) {
    EXPECT_EXIT(RunAndExit([&] {
                    Thread sender([] {
                        CHttpClientImp client;
                        client.m_strDomain.clear();
                        client.asynSendRequest(
                            CHttpRequest(), [](const CHttpResponse&) { pthread_exit(nullptr); }, false);
                        ADD_FAILURE() << "the thread goes on";
                    });
                    sender.Join();
                }),
                ::testing::ExitedWithCode(0), "");
}

// Within libcurl's frames, where it would leave libcurl amid a callback.
TEST_F(Cancellation, WaitsForTheEndOfACallbackOfLibcurl) {
    EXPECT_EXIT(RunAndExit([] {
                    bool returned = false;
                    Thread thread([&returned] {
                        TraceRecorder::Instance().MirrorToStandardError(
                            true); // which is a cancellation point
                        pthread_cancel(pthread_self());
                        char text[] = "a line of libcurl's";
                        OnCurlDebug(nullptr, CURLINFO_TEXT, text, sizeof text, nullptr);
                        returned = true;
                        pthread_testcancel();
                        ADD_FAILURE() << "the thread goes on";
                    });
                    thread.Join();
                    EXPECT_TRUE(returned);
                }),
                ::testing::ExitedWithCode(0), "a line of libcurl's");
}

// It sets libcurl up. Another process than the fixture's, in which that is done.
TEST(CancellationInTheLog, WithinAHandlerOfTheHostsLeavesTheProcess) {
    ExpectToEndWell(LOG_HOST, {"handler"});
}

TEST(CancellationInTheEnvironment, WithinAHandlerOfTheHostsLeavesTheProcess) {
    ExpectToEndWell(LOG_HOST, {"environment"});
}

TEST(CancellationBeforeAll, ThatIsPendingWhenTheFirstRequestIsMadeLeavesLibcurlInOrder) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(RunAndExit([] {
                    Thread first([] {
                        pthread_cancel(pthread_self());
                        const CHttpRequest request;
                        pthread_testcancel();
                        ADD_FAILURE() << "the thread goes on";
                    });
                    first.Join();
                    EXPECT_EQ(CHttpRequest().encodeParam("a b"), "a%20b");
                }),
                ::testing::ExitedWithCode(0), "");
}
