// SPDX-License-Identifier: Apache-2.0
// How is measured: with peers made for it, and against the slow server.
#include "Contest.h"

#include <chrono>
#include <stdexcept>
#include <thread>

#include <gtest/gtest.h>

#include <httpclient/HttpConnectionMgr.h>

#include "SlowServer.h"

namespace {

constexpr double A_BLINK = 0.05;
constexpr int WARMING_UP = 3; // requests of each thread

int g_sent = 0;

/// A peer whose requests are what a test says, by their number.
template <bool (*Function)(int number)> class Acting : public Peer {
public:
    bool Send() override { return Function(++g_sent); }
};

template <bool (*Function)(int number)> PeerKind ActingPeer() {
    g_sent = 0;
    return {"acting",
            [](const Target&) -> std::unique_ptr<Peer> { return std::make_unique<Acting<Function>>(); }};
}

bool SlowAtFirst(int number) {
    std::this_thread::sleep_for(std::chrono::milliseconds(number <= WARMING_UP ? 100 : 1));
    return true;
}

bool FailsEveryOther(int number) {
    return number % 2 == 0;
}

bool AlwaysThrows(int) {
    throw std::runtime_error("no answer");
}

Work OnOneThread() {
    Work work;
    work.name = "work";
    work.title = "Work";
    return work;
}

Work Burst(const SlowServer& server, int threads) {
    Work work = OnOneThread();
    work.target.port = server.Port();
    work.target.path = "/";
    work.threads = threads;
    work.burst = true;
    return work;
}

TEST(Round, LeavesOutTheRequestsThatWarmUp) {
    const Figures figures = Measure(ActingPeer<&SlowAtFirst>(), OnOneThread(), A_BLINK);
    EXPECT_LT(figures.p50, 100e3);
    EXPECT_GE(figures.p50, 1e3);
    EXPECT_GT(figures.perSecond, 10);
    EXPECT_EQ(figures.errors, 0);
}

TEST(Round, CountsErrorsAndTimesOnlyWhatWasAnswered) {
    const Figures figures = Measure(ActingPeer<&FailsEveryOther>(), OnOneThread(), A_BLINK);
    EXPECT_TRUE(figures.Measured());
    EXPECT_EQ(figures.errors, 5); // of which two while warming up; then the thread gives up
    EXPECT_EQ(g_sent, 9);
}

TEST(Round, OfOneThatIsNeverAnsweredHasErrorsOnly) {
    const Figures figures = Measure(ActingPeer<&AlwaysThrows>(), OnOneThread(), A_BLINK);
    EXPECT_FALSE(figures.Measured());
    EXPECT_EQ(figures.errors, 5);
}

TEST(Round, SendsABurstAtOnce) {
    const SlowServer server;
    const Figures figures = Measure(AllPeers().front(), Burst(server, 40), A_BLINK);
    EXPECT_EQ(figures.errors, 0);
    EXPECT_GE(figures.p50, 50e3);
    EXPECT_LT(figures.p50, 40 * 50e3); // one after the other
    EXPECT_NEAR(figures.perSecond, 40 * 1e6 / figures.p50, 1);
    EXPECT_GT(figures.cpu, 0);
}

TEST(Round, SendsAnAsynchronousBurstAtOnce) {
    const SlowServer server;
    const Figures figures = MeasureAsynchronous(Burst(server, 100));
    CHttpConnectionMgr::Finalize();
    EXPECT_EQ(figures.errors, 0);
    EXPECT_GE(figures.p50, 50e3);
    EXPECT_NEAR(figures.perSecond, 100 * 1e6 / figures.p50, 1);
}

std::string g_order;

Contestant Named(const char* name, double perSecond = 1) {
    return {name, [name, perSecond](const Work&, double) {
                g_order += name;
                return Figures{perSecond, 1, 1, perSecond > 0 ? 0 : 1};
            }};
}

TEST(Contest, BeginsEachRoundWithAnother) {
    g_order.clear();
    std::string told;
    const WorkResults results = Compare(OnOneThread(), {Named("a"), Named("b"), Named("c")}, 4, A_BLINK,
                                        [&](const std::string& name) { told += name; });
    EXPECT_EQ(g_order, "abcbcacababc");
    EXPECT_EQ(told, g_order);
    ASSERT_EQ(results.results.size(), 3U);
    EXPECT_EQ(results.results[1].peer, "b");
}

TEST(Contest, IsOffWithoutTheFloor) {
    EXPECT_THROW(Compare(OnOneThread(), {Named("floor", 0), Named("b")}, 1, A_BLINK, [](const auto&) {}),
                 std::runtime_error);
}

TEST(Contest, GoesOnWithoutAnother) {
    const WorkResults results =
        Compare(OnOneThread(), {Named("floor"), Named("b", 0)}, 2, A_BLINK, [](const auto&) {});
    EXPECT_FALSE(results.results[1].median.Measured());
    EXPECT_EQ(results.results[1].median.errors, 2);
}

TEST(Contest, HasTheFloorAlwaysAndTheAsynchronousSendInBurstsOnly) {
    const auto names = [](bool burst, const std::vector<std::string>& wanted) {
        Work work = OnOneThread();
        work.burst = burst;
        std::vector<std::string> those;
        for (const Contestant& one : ContestantsOf(work, wanted)) {
            those.push_back(one.name);
        }
        return those;
    };
    const std::string asynchronous = "libhttpclient, asynchronous";
    EXPECT_EQ(names(true, {asynchronous}), (std::vector<std::string>{"floor", asynchronous}));
    EXPECT_EQ(names(false, {asynchronous}), (std::vector<std::string>{"floor"}));
    EXPECT_EQ(names(true, {}).size(), AllPeers().size() + 1);
    EXPECT_EQ(names(false, {}).size(), AllPeers().size());
}

} // namespace
