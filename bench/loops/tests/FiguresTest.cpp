// SPDX-License-Identifier: Apache-2.0
#include "Figures.h"

#include <algorithm>

#include <gtest/gtest.h>

#include "Crowd.h"
#include "Works.h"

namespace {

const std::string DOOR = "libhttpclient, Client";
const std::string CURL = "libcurl, multi with epoll";

TEST(Medians, AreOfTheRoundsThatHaveTheFigure) {
    const Figures medians = Medians(
        {{{"cpu_us", 3}, {"errors", 1}}, {{"errors", 2}}, {{"cpu_us", 1}, {"errors", 0}}, {{"cpu_us", 8}}});
    EXPECT_EQ(medians, (Figures{{"cpu_us", 3}, {"errors", 3}}));
}

TEST(Medians, OfAnEvenNumberOfRoundsLieBetween) {
    EXPECT_EQ(Medians({{{"cpu_us", 3}}, {{"cpu_us", 4}}}).at("cpu_us"), 3.5);
}

TEST(Goals, AreReachedByMediansOfRatiosOfTheSameRound) {
    const std::vector<Reached> reached =
        GoalsReached("burst-100", {{DOOR, {{{"cpu_us", 10}}, {{"cpu_us", 40}}, {{"cpu_us", 90}}}},
                                   {CURL, {{{"cpu_us", 20}}, {{"cpu_us", 50}}, {{"cpu_us", 100}}}}});
    ASSERT_EQ(reached.size(), 1U); // nothing was measured of the others
    EXPECT_EQ(reached[0].goal.to, CURL);
    EXPECT_EQ(reached[0].value, 0.8);
    EXPECT_TRUE(reached[0].Missed());
}

TEST(Goals, OfAFigureItselfNeedNoOther) {
    const std::vector<Reached> reached =
        GoalsReached("burst-100", {{DOOR, {{{"whole_ms", 53}}, {{"whole_ms", 52}}, {{"whole_ms", 60}}}}});
    ASSERT_EQ(reached.size(), 1U);
    EXPECT_EQ(reached[0].value, 53);
    EXPECT_FALSE(reached[0].Missed());
}

TEST(Goals, LeaveOutRoundsInWhichEitherWasNotAnswered) {
    const std::vector<Reached> reached =
        GoalsReached("burst-100", {{DOOR, {{{"errors", 1}}, {{"cpu_us", 40}}, {{"cpu_us", 90}}}},
                                   {CURL, {{{"cpu_us", 1}}, {{"cpu_us", 50}}}}});
    ASSERT_EQ(reached.size(), 1U);
    EXPECT_EQ(reached[0].value, 0.8);
}

TEST(Goals, AreForWorksPeersAndFiguresThatThereAre) {
    for (const Goal& goal : AllGoals()) {
        const auto isIts = [&](const auto& one) { return one.name == goal.work; };
        EXPECT_TRUE(std::any_of(AllWorks().begin(), AllWorks().end(), isIts)) << goal.work;
        for (const std::string& peer : {goal.peer, goal.to}) {
            const auto isIt = [&](const CrowdKind& kind) { return kind.name == peer; };
            EXPECT_TRUE(peer.empty() || std::any_of(AllCrowds().begin(), AllCrowds().end(), isIt)) << peer;
        }
        EXPECT_TRUE(std::any_of(FigureKinds().begin(), FigureKinds().end(), [&](const FigureKind& kind) {
            return kind.name == goal.figure;
        })) << goal.figure;
    }
}

} // namespace
