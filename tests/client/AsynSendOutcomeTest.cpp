// SPDX-License-Identifier: Apache-2.0
// How asynchronous sends end: each request has exactly one outcome, and its connection comes back.
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>

#include <httpclient/HttpClient.h>
#include <httpclient/HttpConnectionMgr.h>
#include <httpclient/testing/RecordingTrace.h>
#include <httpclient/testing/ResourceListener.h>

#include "AsynFixture.h"
#include "client/AsyncOperation.h"
#include "interpose/Allocations.h"
#include "interpose/CurlRecorder.h"
#include "interpose/LentConnections.h"
#include "interpose/Sleep.h"
#include "interpose/ThreadCreate.h"
#include "pool/HttpConnection.h"

using namespace httpclient::testing;

namespace {

using Messages = std::vector<std::string>;

const std::string NO_LIST = "HTTP DoAsyncOperation ptrSList is nullptr.";

class AsynSendOutcome : public AsynTest {
protected:
    AsynSendOutcome() { PointAt(m_client, m_server); }

    Outcome Get(bool bSSL = false) { return Send(m_client, *MakeRequest(HTTPOPERATION_GET), bSSL); }
    /// Fails the test unless the next request is answered on the one connection there is.
    void ExpectTheNextToWork() {
        PointAt(m_client, m_server);
        EXPECT_EQ(Get().body, "answer");
        EXPECT_EQ(PooledConnections(m_server, true), 1U);
    }

    LoopbackServer m_server{AnswerAll("answer")};
    CHttpClient m_client;
};

} // namespace

TEST_F(AsynSendOutcome, HoldsTheWholeAnswer) {
    LoopbackServer server([](const RecordedRequest&) {
        return Respond(404, {{"Content-Type", "text/x"}}, "not here");
    });
    PointAt(m_client, server);
    const Outcome outcome = Get();
    EXPECT_EQ(outcome.status, 404);
    EXPECT_EQ(outcome.body, "not here");
    EXPECT_EQ(outcome.type, "text/x");
    EXPECT_EQ(outcome.length, 8.0);
    EXPECT_EQ(outcome.head.substr(0, 13), "HTTP/1.1 404 ");
    EXPECT_EQ(outcome.head.substr(outcome.head.size() - 4), "\r\n\r\n");
}

TEST_F(AsynSendOutcome, HasTheBodysLengthWhereTheServerToldNone) {
    LoopbackServer server([](const RecordedRequest&) { return RespondChunked(200, {}, {"one", "three"}); });
    PointAt(m_client, server);
    const Outcome outcome = Get();
    EXPECT_EQ(outcome.body, "onethree");
    EXPECT_EQ(outcome.length, 8.0);
}

TEST_F(AsynSendOutcome, ComesOnAWorkerWithTheCallersSignalsBlocked) {
    sigset_t callers;
    sigemptyset(&callers);
    sigaddset(&callers, SIGUSR2);
    sigset_t former;
    pthread_sigmask(SIG_SETMASK, &callers, &former);
    const Outcome outcome = Get();
    EXPECT_NE(outcome.thread, std::this_thread::get_id());
    for (int signal = 1; signal < SIGRTMIN; ++signal) {
        EXPECT_EQ(sigismember(&outcome.blockedSignals, signal), signal == SIGUSR2 ? 1 : 0) << signal;
    }
    sigset_t own;
    pthread_sigmask(SIG_SETMASK, &former, &own);
    EXPECT_EQ(sigismember(&own, SIGUSR2), 1); // the caller's are as they were
    EXPECT_EQ(sigismember(&own, SIGALRM), 0);
}

TEST_F(AsynSendOutcome, MayStartAProgramThatTakesSignals) {
    static std::atomic<pid_t> child{0};
    m_client.asynSendRequest(
        *MakeRequest(HTTPOPERATION_GET),
        [](const CHttpResponse& response) {
            char name[] = "sleep";
            char seconds[] = "10";
            char* const arguments[] = {name, seconds, nullptr};
            pid_t started = 0;
            posix_spawnp(&started, name, nullptr, nullptr, arguments, environ);
            child = started;
            Outcomes::Callback(response);
        },
        false);
    ASSERT_TRUE(Outcomes::WaitFor(1));
    ASSERT_NE(child, 0);
    EXPECT_EQ(kill(child, SIGTERM), 0);
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFSIGNALED(status));
}

TEST_F(AsynSendOutcome, OfAnEmptyDomainComesOnTheCallersThreadBeforeTheMessage) {
    static std::size_t messagesAtCallback;
    ImpOf(m_client).m_strDomain.clear();
    m_client.asynSendRequest(
        *MakeRequest(HTTPOPERATION_GET),
        [](const CHttpResponse& response) {
            messagesAtCallback = OwnMessages(0).size();
            Outcomes::Callback(response);
        },
        false);
    ASSERT_EQ(Outcomes::All().size(), 1U);
    EXPECT_EQ(Outcomes::All()[0].status, -1);
    EXPECT_EQ(Outcomes::All()[0].thread, std::this_thread::get_id());
    EXPECT_EQ(messagesAtCallback, 0U);
    EXPECT_EQ(OwnMessages(0), (Messages{"[5] CHttpClientImp::asynSendRequest, domain is empty!"}));
}

TEST_F(AsynSendOutcome, IsLoggedFromBeginToEndOnTheCallersThread) {
    NextConnection(m_server, true);
    TraceRecorder::Instance().Clear();
    Get();
    EXPECT_EQ(OwnMessages(0),
              (Messages{"[3] HTTP asynSendRequest begin",
                        "[2] HTTP asynSendRequest URL is: http://" + m_server.authority() + "/",
                        "[3] HTTP asynSendRequest end"}));
    EXPECT_EQ(TraceRecorder::Instance().Count(5, NO_LIST), 1U); // a request without headers goes out normally
}

TEST_F(AsynSendOutcome, OfNoConnectionComesAfterAHundredTriesEveryThreeSeconds) {
    ResourceListener::Allow(260, 0); // a multi handle has two
    CHttpConnectionMgr& pool = *CHttpConnectionMgr::Instance();
    pool.SetMaxConnPerAddr(120); // the message tells the limit
    std::vector<CHttpConnection*> lent;
    while (CHttpConnection* conn = pool.GetConn(m_server.address(), m_server.port(), true)) {
        lent.push_back(conn);
    }
    TraceRecorder::Instance().Clear();
    TraceRecorder::Instance().SetLowestLevel(5);
    const HeldSleep sleep;
    m_client.asynSendRequest(*MakeRequest(HTTPOPERATION_GET), &Outcomes::Callback, false);

    ASSERT_EQ(Outcomes::All().size(), 1U);
    EXPECT_EQ(Outcomes::All()[0].status, -1);
    EXPECT_EQ(Outcomes::All()[0].thread, std::this_thread::get_id());
    ASSERT_EQ(sleep.Calls().size(), 100U);
    for (const HeldSleep::Call& call : sleep.Calls()) {
        EXPECT_EQ(call.seconds, 3);
        EXPECT_EQ(call.nanoseconds, 0);
    }
    Messages expected(100, "[5] asynSendRequest, no idle conn now, wait 3s and retry...");
    expected.emplace_back("[5] asynSendRequest::HTTP get connection from pool failed! current size is 120");
    EXPECT_EQ(OwnMessages(5), expected);
    TraceRecorder::Instance().SetLowestLevel(0);
    for (CHttpConnection* conn : lent) {
        pool.ReleaseConn(conn);
    }
}

TEST_F(AsynSendOutcome, NeverComesWhenNoThreadCanBeStarted) {
    const CHttpConnection* conn = NextConnection(m_server, true);
    const auto request = MakeRequest(HTTPOPERATION_GET);
    request->addRequestHeadEntry("A", "1");
    TraceRecorder::Instance().Clear();
    {
        const RefusedThread refused;
        m_client.asynSendRequest(*request, &Outcomes::Callback, false);
        EXPECT_EQ(refused.Asked(), 1U);
    }
    EXPECT_EQ(OwnMessages(3), (Messages{"[3] HTTP asynSendRequest begin",
                                        "[5] asynSendRequest::failed to spawn the thread DoAsyncOperation !",
                                        "[3] HTTP asynSendRequest end"}));
    EXPECT_TRUE(conn->IsIdle());
    EXPECT_TRUE(Outcomes::All().empty());
    ExpectTheNextToWork();
    EXPECT_EQ(Outcomes::All().size(), 1U);
}

TEST_F(AsynSendOutcome, OfNoThreadGivesTheConnectionBackBeforeItsListIsFreed) {
    NextConnection(m_server, true);
    const auto request = MakeRequest(HTTPOPERATION_GET);
    request->addRequestHeadEntry("A", "1");
    std::vector<long> lent;
    CurlRecorder recorder;
    recorder.At(CurlCall::SlistFreeAll, [&lent] { lent.push_back(LentConnections::Count()); });
    {
        const RefusedThread refused;
        m_client.asynSendRequest(*request, &Outcomes::Callback, false);
    }
    EXPECT_EQ(lent, std::vector<long>{0});
}

TEST_F(AsynSendOutcome, OfAnUnsendableVerbIsMinusOneAfterFiveSeconds) {
    const Outcome outcome = Send(m_client, *MakeRequest(HTTPOPERATION_NOT_SET));
    EXPECT_EQ(outcome.status, -1);
    EXPECT_EQ(outcome.body, "");
    EXPECT_NE(outcome.thread, std::this_thread::get_id());
    EXPECT_EQ(TraceRecorder::Instance().Count(5, "HTTP DoAsyncOperation curl is nullptr."), 1U);
    const auto pauses = m_select.Calls();
    ASSERT_EQ(pauses.size(), 1U);
    EXPECT_EQ(pauses[0].nfds, 0);
    EXPECT_EQ(pauses[0].timeout.tv_sec, 5);
    EXPECT_EQ(pauses[0].timeout.tv_usec, 0);
    EXPECT_TRUE(m_server.requests().empty());
}

// libcurl crashes when a null handle is reset.
TEST_F(AsynSendOutcome, OfAConnectionWithoutAHandleIsMinusOne) {
    const auto request = MakeRequest(HTTPOPERATION_GET);
    {
        CurlRecorder recorder;
        recorder.Force(CurlCall::EasyInit);
        const Outcome outcome = Send(m_client, *request);
        EXPECT_EQ(outcome.status, -1);
        EXPECT_TRUE(recorder.Events(CurlCall::EasyReset).empty());
    }
    EXPECT_EQ(TraceRecorder::Instance().Count(5, "HTTP DoAsyncOperation curl is nullptr."), 1U);
    EXPECT_TRUE(m_server.requests().empty());
    ExpectTheNextToWork();
}

TEST_F(AsynSendOutcome, OfARefusedConnectionIsStatusZero) {
    m_client.setPort(RefusingPort());
    const Outcome outcome = Get();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.body, "");
    EXPECT_FALSE(m_select.Calls().empty()); // paused at least once
    ExpectTheNextToWork();
}

TEST_F(AsynSendOutcome, OfAResetMidwayHasTheStatusAndWhatHadCome) {
    LoopbackServer server([](const RecordedRequest&) {
        return Raw("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nhalf", After::Reset);
    });
    PointAt(m_client, server);
    const Outcome outcome = Get();
    EXPECT_EQ(outcome.status, 200);
    EXPECT_EQ(outcome.length, 100.0);
    ExpectTheNextToWork();
}

TEST_F(AsynSendOutcome, OfASilentServerIsStatusZeroAfterTheTimeout) {
    LoopbackServer server([](const RecordedRequest&) { return Silence(After::Stall); });
    PointAt(m_client, server);
    m_client.setRequestTimeout(1); // libcurl's own clock, which cannot be held
    EXPECT_EQ(Get().status, 0);
    m_client.setRequestTimeout(30);
    ExpectTheNextToWork();
}

TEST_F(AsynSendOutcome, OfATricklingServerHasWhatHadComeAtTheTimeout) {
    LoopbackServer server([](const RecordedRequest&) {
        return Trickle(Respond(200, {}, std::string(1000, 'x')), std::chrono::milliseconds(20));
    });
    PointAt(m_client, server);
    m_client.setRequestTimeout(1);
    const Outcome outcome = Get();
    EXPECT_LT(outcome.body.size(), 1000U);
    m_client.setRequestTimeout(30);
    ExpectTheNextToWork();
}

TEST_F(AsynSendOutcome, OfALargeAnswerHoldsAllOfIt) {
    const std::string body(64U << 20U, 'x');
    m_select.Divide(0); // a pass reads little of so much
    LoopbackServer server(AnswerAll(body));
    PointAt(m_client, server);
    const Outcome outcome = Get();
    EXPECT_EQ(outcome.body.size(), body.size());
    EXPECT_TRUE(outcome.body == body);
}

TEST_F(AsynSendOutcome, ComesEarlyWhenAPauseFails) {
    LoopbackServer server(
        [](const RecordedRequest&) { return Delayed(Respond(200), std::chrono::milliseconds(200)); });
    PointAt(m_client, server);
    m_select.FailCall(1, EBADF);
    EXPECT_EQ(Get().status, 0);
    EXPECT_EQ(m_select.Calls().size(), 1U);
    ExpectTheNextToWork();
}

TEST_F(AsynSendOutcome, WaitsByLibcurlsTimerCappedToOneSecond) {
    LoopbackServer server(
        [](const RecordedRequest&) { return Delayed(Respond(200), std::chrono::milliseconds(100)); });
    PointAt(m_client, server);
    EXPECT_EQ(Get().status, 200);
    for (const HeldSelect::Call& pause : m_select.Calls()) {
        EXPECT_EQ(pause.nfds, 0);
        EXPECT_TRUE(pause.timeout.tv_sec <= 1 || pause.timeout.tv_sec == 5) << pause.timeout.tv_sec;
    }
}

TEST_F(AsynSendOutcome, IsNotHastenedBySignals) {
    std::atomic<bool> stop{false};
    struct sigaction ignore {};
    ignore.sa_handler = [](int) {};
    struct sigaction former {};
    sigaction(SIGUSR1, &ignore, &former);
    std::thread shooter([&] {
        while (!stop) {
            kill(getpid(), SIGUSR1);
            std::this_thread::yield();
        }
    });
    LoopbackServer server([](const RecordedRequest&) {
        return Delayed(Respond(200, {}, "late"), std::chrono::milliseconds(100));
    });
    PointAt(m_client, server);
    EXPECT_EQ(Get().body, "late");
    stop = true;
    shooter.join();
    sigaction(SIGUSR1, &former, nullptr);
}

TEST_F(AsynSendOutcome, OfACallbackThatThrowsHurtsNothing) {
    static std::atomic<int> calls;
    calls = 0;
    m_client.asynSendRequest(
        *MakeRequest(HTTPOPERATION_GET),
        [](const CHttpResponse&) {
            ++calls;
            throw std::runtime_error("the caller's own");
        },
        false);
    ASSERT_TRUE(m_server.WaitForRequests(1));
    EXPECT_TRUE(WaitUntilAllAreBack());
    EXPECT_EQ(calls, 1);
    ExpectTheNextToWork();
}

TEST_F(AsynSendOutcome, OfACallbackThatThrowsOnTheCallersThreadStaysThere) {
    ImpOf(m_client).m_strDomain.clear();
    EXPECT_NO_THROW(m_client.asynSendRequest(
        *MakeRequest(HTTPOPERATION_GET), [](const CHttpResponse&) { throw 1; }, false));
}

TEST_F(AsynSendOutcome, ComesToACallbackThatSendsAgain) {
    static LoopbackServer* server;
    static std::atomic<int> synStatus;
    server = &m_server;
    synStatus = 0;
    m_client.asynSendRequest(
        *MakeRequest(HTTPOPERATION_GET),
        [](const CHttpResponse&) {
            CHttpClient inner;
            PointAt(inner, *server);
            CHttpResponse response;
            synStatus = inner.synSendRequest(*MakeRequest(HTTPOPERATION_GET), response, false);
            inner.asynSendRequest(*MakeRequest(HTTPOPERATION_GET), &Outcomes::Callback, false);
        },
        false);
    ASSERT_TRUE(Outcomes::WaitFor(1)); // that of the inner send, whose client has gone meanwhile
    EXPECT_EQ(Outcomes::All()[0].status, 200);
    EXPECT_EQ(synStatus, 200);
    EXPECT_EQ(m_server.requests().size(), 3U);
}

TEST_F(AsynSendOutcome, ComesAfterTheClientIsDestroyed) {
    LoopbackServer server([](const RecordedRequest&) {
        return Delayed(Respond(200, {}, "late"), std::chrono::milliseconds(50));
    });
    {
        CHttpClient client;
        PointAt(client, server);
        client.asynSendRequest(*MakeRequest(HTTPOPERATION_GET), &Outcomes::Callback, false);
    }
    ASSERT_TRUE(Outcomes::WaitFor(1));
    EXPECT_EQ(Outcomes::All()[0].body, "late");
}

TEST_F(AsynSendOutcome, ComesBeforeTheConnectionIsGivenBack) {
    static CHttpConnection* conn;
    static std::atomic<bool> idleInCallback;
    conn = NextConnection(m_server, true);
    idleInCallback = true;
    m_client.asynSendRequest(
        *MakeRequest(HTTPOPERATION_GET),
        [](const CHttpResponse& response) {
            idleInCallback = conn->IsIdle();
            Outcomes::Callback(response);
        },
        false);
    ASSERT_TRUE(Outcomes::WaitFor(1));
    EXPECT_FALSE(idleInCallback);
    EXPECT_TRUE(WaitUntilAllAreBack());
    EXPECT_TRUE(conn->IsIdle());
}

TEST_F(AsynSendOutcome, ComesExactlyOnceWhicheverAllocationFailsInPreparation) {
    NextConnection(m_server, true);
    const auto request = MakeRequest(HTTPOPERATION_POST, "/a/path/that/is/longer/than/a/short/string");
    request->addParam("name", "a value that is longer than a short string");
    request->addRequestHeadEntry("A", "a value that is longer than a short string");
    std::size_t sent = 0;
    for (std::size_t i = 1;; ++i) {
        std::size_t allocations = 0;
        {
            const CountedNew counted(i);
            m_client.asynSendRequest(*request, &Outcomes::Callback, false);
            allocations = counted.Count();
        }
        ++sent;
        // Where no worker can be started, there is none.
        EXPECT_TRUE(WaitUntilAllAreBack()) << i;
        EXPECT_LE(Outcomes::All().size(), sent) << i;
        if (allocations < i) {
            break;
        }
    }
    EXPECT_GT(sent, 5U);
    Outcomes::Clear();
    ExpectTheNextToWork();
}

TEST_F(AsynSendOutcome, ComesWhereNoMemoryIsLeft) {
    static std::atomic<int> calls;
    static std::atomic<int> status;
    const auto count = [](const CHttpResponse& response) { // which may not allocate either
        status = response.getStatusCode();
        ++calls;
    };
    NextConnection(m_server, true);
    const auto request = MakeRequest(HTTPOPERATION_POST, "/a/path/that/is/longer/than/a/short/string");
    int failures = 0;
    int withoutWorker = 0;
    std::size_t allocations = 0;
    for (std::size_t i = 1; i <= allocations + 1; ++i) { // the last time nothing fails
        calls = 0;
        {
            const CountedNew counted(i, Failing::AllFrom);
            m_client.asynSendRequest(*request, count, false);
            allocations = counted.Count();
        }
        EXPECT_TRUE(WaitUntilAllAreBack()) << i;
        EXPECT_LE(calls, 1) << i;
        EXPECT_TRUE(status == 200 || status == -1) << i << ": " << status;
        failures += calls == 1 && status == -1 ? 1 : 0;
        withoutWorker += calls == 0 ? 1 : 0;
    }
    EXPECT_LE(withoutWorker, 1) << "what a thread is started with is one allocation";
    EXPECT_EQ(status, 200);
    EXPECT_GT(failures, 5);
    EXPECT_GT(TraceRecorder::Instance().Count(3, "HTTP asynSendRequest begin"), 5U);

    ImpOf(m_client).m_strDomain.clear();
    calls = 0;
    const CountedNew counted(1, Failing::AllFrom);
    m_client.asynSendRequest(*request, count, false);
    EXPECT_EQ(calls, 1);
}

TEST_F(AsynSendOutcome, ComesExactlyOnceWhicheverAllocationOfTheWorkerFails) {
    static int calls;
    const std::string body(20'000, 'x');
    LoopbackServer server(AnswerAll(body));
    TraceRecorder::Instance().SetLowestLevel(6); // messages take memory, too
    int status = 0;
    std::size_t unanswered = 0;
    bool failed = true;
    for (std::size_t i = 1; failed; ++i) {
        CHttpConnection* conn = NextConnection(server, true);
        conn->SetIdle(false);
        curl_easy_reset(conn->GetCurl());
        curl_easy_setopt(conn->GetCurl(), CURLOPT_URL, server.url().c_str());
        auto* record = new AsyncOperationArgs;
        record->curl = conn->GetCurl();
        record->mcurl = conn->GetCurlM();
        record->ptrHttpConn = conn;
        const auto response = record->response = std::make_shared<CHttpResponse>();
        record->pfnCallback = [](const CHttpResponse&) { ++calls; };
        calls = 0;
        {
            const CountedNew counted(i);
            DoAsyncOperation(record); // in this thread, whose allocations are counted
            failed = counted.Count() >= i;
        }
        EXPECT_EQ(calls, 1) << i;
        EXPECT_TRUE(conn->IsIdle()) << i;
        status = response->getStatusCode();
        EXPECT_TRUE(status == 200 || status == 0 || status == -1) << i << ": " << status;
        if (status == -1) {
            ++unanswered;
            EXPECT_EQ(response->getResponseBody(), "") << i << ": all or nothing";
            EXPECT_EQ(response->getResponseHead(), "") << i;
            EXPECT_EQ(response->getResponseHeadNums(), 0U) << i;
            EXPECT_EQ(response->getContentLen(), 0.0) << i;
        } else if (status == 200) {
            EXPECT_EQ(response->getResponseBody(), body) << i << ": all or nothing";
        }
    }
    EXPECT_EQ(status, 200);
    EXPECT_GT(unanswered, 0U) << "what the response is made of";
}

TEST_F(AsynSendOutcome, OfMemoryThatRunsOutIsMinusOneAndIsLogged) {
    TraceRecorder::Instance().SetLowestLevel(5);
    const auto request = MakeRequest(HTTPOPERATION_GET);
    CHttpClient client; // of an address that the pool has no connection for
    client.setPort(RefusingPort());
    client.setDomain(""); // refused with a message: the log itself allocates when it is first asked
    TraceRecorder::Instance().Clear();
    {
        const CountedNew counted(1);
        client.asynSendRequest(*request, &Outcomes::Callback, false);
    }
    EXPECT_EQ(OwnMessages(5), Messages{"[5] HTTP asynSendRequest catch an exception."});
    EXPECT_EQ(Outcomes::All().at(0).status, -1);
}

TEST_F(AsynSendOutcome, OfTheWorkersMemoryThatRunsOutIsLogged) {
    TraceRecorder::Instance().SetLowestLevel(5);
    CHttpConnection* conn = NextConnection(m_server, true);
    std::size_t allocations = 0;
    for (const bool counting : {true, false}) {
        TraceRecorder::Instance().Clear();
        conn->SetIdle(false);
        curl_easy_reset(conn->GetCurl());
        curl_easy_setopt(conn->GetCurl(), CURLOPT_URL, m_server.url().c_str());
        auto* record = new AsyncOperationArgs;
        record->curl = conn->GetCurl();
        record->mcurl = conn->GetCurlM();
        record->ptrHttpConn = conn;
        record->ptrSList = curl_slist_append(nullptr, "A:b");
        record->response = std::make_shared<CHttpResponse>();
        record->pfnCallback = [](const CHttpResponse&) {};
        const CountedNew counted(counting ? 0 : allocations); // the last one is the response's
        DoAsyncOperation(record);
        allocations = counted.Count();
    }
    EXPECT_EQ(OwnMessages(5), Messages{"[5] HTTP DoAsyncOperation catch an exception."});
}

TEST_F(AsynSendOutcome, ComesToEachOfTwoHundredAtOnce) {
    ResourceListener::Allow(300, 0);
    // Callers that find every connection lent out wait a little instead of 3 s.
    std::mutex mutex;
    std::condition_variable never;
    const HeldSleep sleep([&](const HeldSleep::Call&) {
        std::unique_lock<std::mutex> lock(mutex);
        never.wait_for(lock, std::chrono::milliseconds(20));
    });
    std::vector<std::thread> senders;
    for (int i = 0; i < 8; ++i) {
        senders.emplace_back([this] {
            CHttpClient client;
            PointAt(client, m_server);
            for (int k = 0; k < 25; ++k) {
                client.asynSendRequest(*MakeRequest(HTTPOPERATION_GET), &Outcomes::Callback, false);
            }
        });
    }
    for (std::thread& sender : senders) {
        sender.join();
    }
    ASSERT_TRUE(Outcomes::WaitFor(200));
    EXPECT_TRUE(WaitUntilAllAreBack());
    EXPECT_EQ(Outcomes::All().size(), 200U);
    for (const Outcome& outcome : Outcomes::All()) {
        EXPECT_EQ(outcome.body, "answer");
    }
    EXPECT_LE(PooledConnections(m_server, true), 100U);
    EXPECT_EQ(m_server.requests().size(), 200U);
}
