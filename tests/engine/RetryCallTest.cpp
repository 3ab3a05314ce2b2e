// SPDX-License-Identifier: Apache-2.0
// Calls that are sent again, as their policy says, and no others. Pauses are a millisecond.
#include <atomic>
#include <ctime>
#include <string>
#include <vector>

#include <httpclient/testing/LoopbackServer.h>

#include "setting/EngineTest.h"
#include "setting/NameService.h"
#include "setting/ScriptedServer.h"

namespace {

RetryPolicy Policy(int attempts = 3) {
    return RetryPolicy().attempts(attempts).pauses(1ms, 1ms);
}

class Retry : public EngineTest {
protected:
    /// Sends to a server that answers with these in order, then with the last again and again.
    std::string Send(const std::vector<kit::Reply>& replies, const Request& request = Get(),
                     const RetryPolicy& policy = Policy()) {
        std::atomic<std::size_t> next{0};
        kit::LoopbackServer server(
            [&](const kit::RecordedRequest&) { return replies[std::min(next++, replies.size() - 1)]; });
        const std::string told = ToldFully(ClientOf(OptionsFor(server).retry(policy)).Send(request));
        m_requests = server.requests().size();
        return told;
    }

    std::size_t m_requests = 0;
};

const kit::Reply GOOD = kit::Respond(200, {}, "sound");
const kit::Reply BUSY = kit::Respond(503, {}, "busy");
const kit::Reply LOST = kit::Silence(kit::After::Close);

} // namespace

TEST_F(Retry, HappensOnlyWhereThePolicySaysSo) {
    EXPECT_EQ(Send({BUSY, GOOD}, Get(), RetryPolicy()), "503 busy, attempts 1");
    EXPECT_EQ(Send({LOST, GOOD}, Get(), RetryPolicy()),
              "ConnectionLost in Head, sent, retryable, attempts 1");
}

TEST_F(Retry, FollowsTheStatusesOfThePolicy) {
    for (const int status : {429, 502, 503, 504}) {
        EXPECT_EQ(Send({kit::Respond(status), GOOD}), "200 sound, attempts 2, reused") << status;
    }
    for (const int status : {400, 404, 500, 501, 505}) {
        EXPECT_EQ(Send({kit::Respond(status, {}, "no"), GOOD}), std::to_string(status) + " no, attempts 1");
    }
    EXPECT_EQ(Send({kit::Respond(500), GOOD}, Get(), Policy().statuses({500})),
              "200 sound, attempts 2, reused");
    EXPECT_EQ(Send({BUSY, GOOD}, Get(), Policy().statuses({})), "503 busy, attempts 1");
}

TEST_F(Retry, GivesTheLastAnswerWhereAttemptsRunOut) {
    EXPECT_EQ(Send({BUSY}), "503 busy, attempts 3, reused");
    EXPECT_EQ(m_requests, 3U);
    EXPECT_EQ(Send({LOST}), "ConnectionLost in Head, sent, retryable, attempts 3");
    EXPECT_EQ(m_requests, 3U);
}

TEST_F(Retry, FollowsALostConnectionOrAnAttemptThatTookTooLong) {
    EXPECT_EQ(Send({LOST, GOOD}), "200 sound, attempts 2");
    EXPECT_EQ(Send({kit::Raw("HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nhalf", kit::After::Close), GOOD}),
              "200 sound, attempts 2");
}

TEST_F(Retry, NeverSendsTwiceWhatIsNotIdempotent) {
    EXPECT_EQ(Send({BUSY, GOOD}, Post()), "503 busy, attempts 1");
    EXPECT_EQ(Send({LOST, GOOD}, Post()), "ConnectionLost in Head, sent, attempts 1");
    EXPECT_EQ(m_requests, 1U);
    EXPECT_EQ(Send({LOST, GOOD}, Request(Method::Patch, "/")), "ConnectionLost in Head, sent, attempts 1");
    EXPECT_EQ(Send({BUSY, GOOD}, Get().idempotent(false)), "503 busy, attempts 1");
    EXPECT_EQ(Send({BUSY, GOOD}, Post().idempotent(true)), "200 sound, attempts 2, reused");
    for (const Method method : {Method::Get, Method::Put, Method::Delete, Method::Options}) {
        EXPECT_EQ(Send({LOST, GOOD}, Request(method, "/")), "200 sound, attempts 2");
    }
}

TEST_F(Retry, NeverFollowsWhatCannotGetBetter) {
    EXPECT_EQ(Send({kit::Raw("nonsense\r\n\r\n", kit::After::Close), GOOD}),
              "Protocol in Head, sent, attempts 1");
    EXPECT_EQ(Send({GOOD}, Get("no path")), "InvalidRequest in Prepare, not sent, attempts 0");
    EXPECT_EQ(Send({GOOD}, Get().bodySink([](std::string_view) { return false; })),
              "Cancelled in Body, sent, attempts 1");
}

TEST_F(Retry, FollowsARefusedConnectionEvenForAPost) {
    const Client client = ClientOf(OptionsFor("http://127.0.0.1:1").retry(Policy(4)));
    EXPECT_EQ(ToldFully(client.Send(Post())), "Connect in Connect, not sent, retryable, attempts 4");
}

TEST_F(Retry, FollowsANameThatDoesNotResolve) {
    NameService names;
    const Client client = ClientOf(OptionsFor("http://none.test").retry(Policy(4)));
    EXPECT_EQ(ToldFully(client.Send(Post())), "Resolve in Resolve, not sent, retryable, attempts 4");
    EXPECT_EQ(names.LookUps("none.test"), 1U) << "a failure is remembered for a second";
}

TEST_F(Retry, OpensTheSourceOncePerAttempt) {
    int opened = 0;
    const Request request =
        Request(Method::Put, "/")
            .bodySource(
                [&]() -> BodySource {
                    ++opened;
                    return [given = false](char* to, std::size_t) mutable -> std::ptrdiff_t {
                        if (given) {
                            return 0;
                        }
                        given = true;
                        return static_cast<std::ptrdiff_t>(std::string_view("body").copy(to, 4));
                    };
                },
                std::nullopt);
    EXPECT_EQ(Send({BUSY, LOST, GOOD}, request), "200 sound, attempts 3");
    EXPECT_EQ(opened, 3);
}

TEST_F(Retry, TakesFromTheBudgetOfTheClient) {
    kit::LoopbackServer server([](const kit::RecordedRequest&) { return BUSY; });
    const Client client = ClientOf(OptionsFor(server).retry(Policy(4).budget(0.001)));
    std::vector<int> attempts;
    for (int call = 0; call < 5; ++call) {
        attempts.push_back(client.Send(Get())->attempts());
    }
    EXPECT_EQ(attempts, (std::vector<int>{4, 4, 4, 2, 1})) << "ten are in it at the start";
    const Client none = ClientOf(OptionsFor(server).retry(Policy(4).budget(0)));
    EXPECT_EQ(none.Send(Get())->attempts(), 1);
}

TEST_F(Retry, KeepsToTheServersRetryAfter) {
    const auto taken = TimeOf([&] {
        EXPECT_EQ(Send({kit::Respond(503, {{"Retry-After", "1"}}), GOOD}), "200 sound, attempts 2, reused");
    });
    EXPECT_GE(taken, 1s);
    for (const std::string value : {"60", "99999999999", "Fri, 31 Dec 2099 23:59:59 GMT"}) {
        EXPECT_EQ(Send({kit::Respond(503, {{"Retry-After", value}}, "busy"), GOOD}), "503 busy, attempts 1")
            << "it leads beyond the deadline";
        EXPECT_EQ(m_requests, 1U);
    }
    for (const std::string value : {"0", "nonsense", "-5", "Sun, 06 Nov 1994 08:49:37 GMT"}) {
        EXPECT_EQ(Send({kit::Respond(503, {{"Retry-After", value}}), GOOD}), "200 sound, attempts 2, reused");
    }
}

TEST_F(Retry, DoesNotReadALongAnswerThatIsNotTheOutcome) {
    std::atomic<int> requests{0};
    ScriptedServer server([&](Peer& peer) {
        while (peer.Expect("\r\n\r\n")) {
            if (++requests == 1) {
                peer.Send("HTTP/1.1 503 Busy\r\nContent-Length: 100000000000\r\n\r\n");
                const std::string piece(1024UL * 1024, 'x');
                for (int i = 0; i < 8; ++i) {
                    peer.Send(piece);
                }
                peer.ExpectEnd();
                return;
            }
            peer.Send("HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nsound");
        }
    });
    const Client client = ClientOf(OptionsFor(server.origin()).timeout(5s).retry(Policy()));
    EXPECT_EQ(ToldFully(client.Send(Get())), "200 sound, attempts 2");
}

TEST_F(Retry, PausesAreDoubledAndJittered) {
    // The longest possible pauses are 8, 16, 32 and 32 ms; by chance each is anything below.
    std::vector<std::chrono::steady_clock::duration> taken;
    for (int i = 0; i < 12; ++i) {
        taken.push_back(TimeOf([&] {
            EXPECT_EQ(Send({BUSY}, Get(), RetryPolicy().attempts(5).pauses(8ms, 32ms)).substr(0, 4), "503 ");
        }));
    }
    const auto [least, most] = std::minmax_element(taken.begin(), taken.end());
    EXPECT_GT(*most, *least + 5ms) << "calls that failed together do not come back together";
    EXPECT_GT(*most, 20ms);
}
