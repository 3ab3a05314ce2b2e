// SPDX-License-Identifier: Apache-2.0
// Cancel() at each step that a loop takes for a call: turns, connecting, each write and read.
#include <algorithm>
#include <thread>

#include <httpclient/testing/Certificates.h>
#include <httpclient/testing/TlsLoopbackServer.h>

#include "loop/AsyncTest.h"
#include "loop/Steps.h"

namespace {

class CancelTest : public AsyncTest {
protected:
    /// Runs a call once per step, cancelled just before it, until it has no more steps.
    /// @return how many steps there were.
    int CancelAtEach(const ClientOptions& options, const Request& request, const std::string& whole) {
        for (int which = 1;; ++which) {
            // One connection: a slot that is lost would be missed by the next call.
            Remake(EngineOptions().maxConnections(1, 1));
            const Client client = ClientOf(options);
            const std::string name = std::to_string(m_started);
            int count = 0; // of the loop's thread alone
            std::string told;
            {
                std::promise<Call> started;
                std::shared_future<Call> call = started.get_future().share();
                const Steps steps([&, which](const Step& step) {
                    if (step.onLoop && ++count == which) {
                        // As others do it: a loop that is about to wait has to be woken.
                        std::thread([&] { Call(call.get()).Cancel(); }).join();
                    }
                });
                started.set_value(Start(client, request, name));
                told = m_ends.Told(name);
            }
            EXPECT_TRUE(told == whole || told.rfind("Cancelled in ", 0) == 0) << told << " at step " << which;
            EXPECT_EQ(Told(client.Send(Get())).substr(0, 3), "200") << "after step " << which;
            const bool cancelled = told != whole;
            End();
            EXPECT_EQ(m_ends.Count(), m_started);
            if (count < which) {
                EXPECT_FALSE(cancelled);
                return count;
            }
            if (HasFailure()) {
                return count;
            }
        }
    }
};

kit::Reply AnswerInSteps(const kit::RecordedRequest& /*request*/) {
    return kit::Trickle(kit::Respond(200, {}, "answer"), 0ms);
}

TEST_F(CancelTest, AGetOnANewConnection) {
    kit::LoopbackServer server(&AnswerInSteps);
    EXPECT_GT(CancelAtEach(OptionsFor(server), Get(), "200 answer"), 5);
}

TEST_F(CancelTest, ANameIsLookedUpFirst) {
    kit::LoopbackServer server(&AnswerInSteps);
    EXPECT_GT(
        CancelAtEach(OptionsFor("http://localhost:" + std::to_string(server.port())), Get(), "200 answer"),
        5);
}

TEST_F(CancelTest, OverTlsWithMaterialThatIsReadMeanwhile) {
    const kit::CertificateAuthority authority;
    kit::TlsLoopbackServer server(&AnswerInSteps,
                                  {authority.IssueServer(), {}, kit::ClientCertificate::Ignore});
    const ClientOptions options = OptionsFor(server).tls(TlsOptions().memory(authority.certificatePem()));
    EXPECT_GT(CancelAtEach(options, Get(), "200 answer"), 8);
}

TEST_F(CancelTest, WithASourceASinkAndAHeadFunction) {
    kit::LoopbackServer server(&AnswerInSteps);
    Request request(Method::Post, "/");
    request.bodySource(
        [&]() -> BodySource {
            return [left = 3](char* to, std::size_t) mutable -> std::ptrdiff_t {
                *to = 'x';
                return left-- > 0 ? 1 : 0;
            };
        },
        std::nullopt);
    request.onHead([](const Response&) { return true; });
    request.bodySink([](std::string_view) { return true; });
    EXPECT_GT(CancelAtEach(OptionsFor(server), request, "200 "), 8);
}

TEST_F(CancelTest, AmidThePauseBeforeARetry) {
    kit::LoopbackServer server([&](const kit::RecordedRequest&) { return kit::Respond(503, {}, "busy"); });
    const Client client =
        ClientOf(OptionsFor(server)
                     .retry(RetryPolicy().attempts(5).pauses(std::chrono::hours(1), std::chrono::hours(1)))
                     .timeout(2h));
    for (int round = 0; round < 5; ++round) {
        const std::string name = std::to_string(round);
        Call call = Start(client, Get(), name);
        ASSERT_TRUE(server.WaitForRequests(static_cast<std::size_t>(round) + 1));
        call.Cancel();
        EXPECT_EQ(m_ends.Told(name).rfind("Cancelled in ", 0), 0U);
    }
    EXPECT_EQ(server.requests().size(), 5U);
}

} // namespace
