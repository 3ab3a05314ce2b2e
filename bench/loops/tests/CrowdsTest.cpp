// SPDX-License-Identifier: Apache-2.0
// Whether all do the same work, each in a process of its own.
#include <cctype>
#include <ostream>
#include <string>

#include <gtest/gtest.h>

#include <httpclient/testing/LoopbackServer.h>

#include "AnswerLoop.h"
#include "Measurement.h"
#include "tests/support/Process.h"

/// For GoogleTest.
void PrintTo(const CrowdKind& kind, std::ostream* out) {
    *out << kind.name;
}

namespace {

using namespace httpclient::testing;
using namespace std::chrono_literals;

constexpr std::size_t IN_FLIGHT = 10;

class Crowds : public ::testing::TestWithParam<CrowdKind> {
protected:
    /// Has the crowd run in a process of its own, once more than @p before. @return "answered failed" of the last run.
    static std::string Run(std::uint16_t port, int before = 0) {
        return RunForked([&] {
                   const auto crowd = GetParam().make({port, IN_FLIGHT});
                   for (int run = 0; run < before; ++run) {
                       crowd->Run(IN_FLIGHT, Clock::now());
                   }
                   const Tally tally = crowd->Run(IN_FLIGHT, Clock::now());
                   std::printf("%zu %zu", tally.answered, tally.failed);
                   std::fflush(stdout);
                   std::_Exit(0);
               })
            .out;
    }
    /// The first road's asynchronous sends wait for five seconds where the connection is kept.
    static bool Waits() { return GetParam().name == "libhttpclient, asynchronous"; }
};

TEST_P(Crowds, KeepTheirConnections) {
    const LoopbackServer server(
        [](const RecordedRequest&) { return Respond(200, {}, std::string(ANSWER_BYTES, 'x')); });
    EXPECT_EQ(Run(server.port(), Waits() ? 0 : 2), "10 0");
    EXPECT_EQ(server.connectionsAccepted(), IN_FLIGHT);
    ASSERT_EQ(server.requests().size(), IN_FLIGHT * (Waits() ? 1 : 3));
    EXPECT_EQ(server.requests().front().method, "GET");
    EXPECT_EQ(server.requests().front().target, "/128");
}

TEST_P(Crowds, HaveAllUnderWayAtOnce) {
    const AnswerLoop server(100ms);
    const Clock::time_point begun = Clock::now();
    EXPECT_EQ(Run(server.Port()), "10 0");
    EXPECT_GE(Clock::now() - begun, 100ms);
    if (!Waits()) {
        EXPECT_LT(Clock::now() - begun, 10 * 100ms); // one after the other
    }
}

TEST_P(Crowds, TakeNoOtherStatusAndNoShorterBodyForTheAnswer) {
    const LoopbackServer refusing(
        [](const RecordedRequest&) { return Respond(500, {}, std::string(ANSWER_BYTES, 'x')); });
    EXPECT_EQ(Run(refusing.port()), "0 10");
    const LoopbackServer brief(
        [](const RecordedRequest&) { return Respond(200, {}, std::string(ANSWER_BYTES - 1, 'x')); });
    EXPECT_EQ(Run(brief.port()), "0 10");
}

TEST_P(Crowds, GoOnUntilTheTimeIsOver) {
    if (Waits()) {
        GTEST_SKIP() << "each send takes seconds";
    }
    const Work work{"steady", "steady", Manner::Steady, IN_FLIGHT, 0ms};
    const Figures figures = MeasureApart(GetParam(), work, 0.1);
    EXPECT_EQ(figures.at("errors"), 0);
    EXPECT_GT(figures.at("per_second"), 100);
    EXPECT_GT(figures.at("cpu_us"), 0);
    EXPECT_EQ(figures.count("whole_ms"), 0U);
}

INSTANTIATE_TEST_SUITE_P(All, Crowds, ::testing::ValuesIn(AllCrowds()), [](const auto& kind) {
    std::string name;
    for (const char c : kind.param.name) {
        if (std::isalnum(static_cast<unsigned char>(c)) != 0) {
            name += c;
        }
    }
    return name;
});

TEST(Measurement, OfABurstTakesAsLongAsItsAnswers) {
    const Work work{"burst", "burst", Manner::Burst, IN_FLIGHT, 50ms};
    const Figures figures = MeasureApart(AllCrowds().front(), work, 1);
    EXPECT_GE(figures.at("whole_ms"), 50);
    EXPECT_EQ(figures.count("memory_kib"), 0U); // of so few calls it says nothing
}

TEST(Measurement, OfManyCallsTellsTheirMemory) {
    const Work work{"burst", "burst", Manner::BurstAnew, 1000, 10ms};
    const CrowdKind& engine = AllCrowds()[1];
    ASSERT_EQ(engine.name, "libhttpclient, Client");
    const double memory = MeasureApart(engine, work, 1).at("memory_kib");
    EXPECT_GT(memory, 1);
    EXPECT_LT(memory, 100);
}

TEST(Measurement, OfACrowdThatFailsHasErrorsOnly) {
    const CrowdKind failing{"failing", 10,
                            [](const CrowdTarget&) -> std::unique_ptr<Crowd> { std::_Exit(3); }};
    EXPECT_EQ(MeasureApart(failing, AllWorks().front(), 1), (Figures{{"errors", 1}}));
}

TEST(Measurement, TellsHowLongCancellingTakes) {
    const Work work{"cancel", "cancel", Manner::Cancelling, 20, 30s};
    const Figures figures = MeasureApart(AllCrowds()[1], work, 1);
    EXPECT_EQ(figures.at("errors"), 0);
    EXPECT_GT(figures.at("p50_us"), 0);
    EXPECT_GE(figures.at("p99_us"), figures.at("p50_us"));
}

} // namespace
