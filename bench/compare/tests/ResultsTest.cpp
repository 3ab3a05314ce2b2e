// SPDX-License-Identifier: Apache-2.0
#include "Results.h"

#include <gtest/gtest.h>

namespace {

TEST(Results, AreMediansAndMediansOfRatiosOfTheSameRound) {
    const Result result = Summarise("peer", {{100, 10, 1}, {300, 30, 3}, {200, 20, 8}},
                                    {{100, 20, 1}, {100, 20, 2}, {50, 20, 4}});
    EXPECT_EQ(result.median.perSecond, 200);
    EXPECT_EQ(result.median.p50, 20);
    EXPECT_EQ(result.median.cpu, 3);
    EXPECT_EQ(result.toFloor.perSecond, 3);
    EXPECT_EQ(result.toFloor.p50, 1);
    EXPECT_EQ(result.toFloor.cpu, 1.5);
    EXPECT_EQ(result.median.errors, 0);
}

TEST(Results, LeaveRoundsWithoutAnAnswerOutAndSumTheErrors) {
    const Result result = Summarise("peer", {{100, 10, 1, 2}, {0, 0, 0, 3}}, {{50, 5, 1}, {100, 10, 1}});
    EXPECT_EQ(result.median.perSecond, 100);
    EXPECT_EQ(result.toFloor.perSecond, 2);
    EXPECT_EQ(result.median.errors, 5);
}

const std::vector<WorkResults> WORKS{{"get",
                                      "GET 128 B",
                                      {{"floor", {10000, 90.5, 60.25, 0}, {1, 1, 1, 0}},
                                       {"lame", {5000, 181, 120.5, 2}, {0.5, 2, 2, 0}},
                                       {"dead", {0, 0, 0, 7}, {}}},
                                      {}}};

TEST(Results, MakeATable) {
    EXPECT_EQ(
        AsTable(WORKS),
        "\n### GET 128 B\n\n"
        "| | requests/s | p50, us | CPU, us | requests/s : floor | p50 : floor | CPU : floor | errors |\n"
        "|---|---|---|---|---|---|---|---|\n"
        "| floor | 10000 | 90.5 | 60.2 | 1.00 | 1.00 | 1.00 | 0 |\n"
        "| lame | 5000 | 181.0 | 120.5 | 0.50 | 2.00 | 2.00 | 2 |\n"
        "| dead | - | - | - | - | - | - | 7 |\n");
}

TEST(Results, ShowTheGoalsLastAndWhichWereMissed) {
    const Goal goal{"get", "swift", "lame", 0.5, 0.4};
    std::vector<WorkResults> works{WORKS};
    works.front().goals = {{goal, 0.5, 0.4}, {goal, 0.51, 0.1}, {goal, 0.1, 0.41}};
    EXPECT_EQ(AsTable(works), AsTable(WORKS) +
                                  "\n## Goals\n\n"
                                  "| | of | to | CPU | p50 | |\n"
                                  "|---|---|---|---|---|---|\n"
                                  "| GET 128 B | swift | lame | 0.50 of 0.50 | 0.40 of 0.40 | |\n"
                                  "| GET 128 B | swift | lame | 0.51 of 0.50 | 0.10 of 0.40 | missed |\n"
                                  "| GET 128 B | swift | lame | 0.10 of 0.50 | 0.41 of 0.40 | missed |\n");
}

TEST(Goals, AreReachedByMediansOfRatiosOfTheSameRound) {
    const std::vector<Figures> door{{100, 10, 1}, {100, 30, 3}, {0, 0, 0}, {100, 20, 8}};
    const std::vector<Figures> other{{100, 20, 2}, {100, 30, 2}, {100, 1, 1}, {100, 10, 10}};
    const std::vector<Reached> reached =
        GoalsReached("get", {{"libhttpclient, Client", door}, {"Boost.Beast", other}});
    ASSERT_EQ(reached.size(), 1U); // the other to whom there is a goal was not measured
    EXPECT_EQ(reached[0].goal.to, "Boost.Beast");
    EXPECT_EQ(reached[0].cpu, 0.8);
    EXPECT_EQ(reached[0].p50, 1);
}

TEST(Goals, AreForWorksAndPeersThatThereAre) {
    for (const Goal& goal : AllGoals()) {
        EXPECT_EQ(GoalsReached(goal.work, {{goal.contestant, {{1, 1, 1}}}, {goal.to, {{1, 1, 1}}}}).size(),
                  1U);
        EXPECT_TRUE(
            GoalsReached(goal.work, {{goal.contestant, {{1, 1, 1}}}, {goal.to, {{0, 0, 0}}}}).empty());
    }
}

TEST(Results, MakeJson) {
    std::vector<WorkResults> works{WORKS};
    works.front().goals = {{{"get", "swift", "lame", 0.5, 0.4}, 0.51, 0.1}};
    EXPECT_EQ(AsJson(works), R"([
 {"work": "get", "peer": "floor", "errors": 0, "title": "GET 128 B", "per_second": 10000.0, "p50_us": 90.50, "cpu_us": 60.25, "per_second_to_floor": 1.000, "p50_to_floor": 1.000, "cpu_to_floor": 1.000},
 {"work": "get", "peer": "lame", "errors": 2, "title": "GET 128 B", "per_second": 5000.0, "p50_us": 181.00, "cpu_us": 120.50, "per_second_to_floor": 0.500, "p50_to_floor": 2.000, "cpu_to_floor": 2.000},
 {"work": "get", "peer": "dead", "errors": 7, "title": "GET 128 B"},
 {"work": "get", "goal_of": "swift", "to": "lame", "title": "GET 128 B", "cpu": 0.510, "cpu_goal": 0.50, "p50": 0.100, "p50_goal": 0.40, "missed": true}
]
)");
}

} // namespace
