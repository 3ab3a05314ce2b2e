// SPDX-License-Identifier: Apache-2.0
#include "Results.h"

#include <limits>

#include <gtest/gtest.h>

#include "Measurement.h"

namespace {

using namespace std::chrono_literals;

const Work STEADY{"steady-16", "16 in flight", Manner::Steady, 16, 0ms};
const Work CANCELLING{"cancel-1", "Cancel()", Manner::Cancelling, 1, 0ms};

const std::vector<WorkResults> WORKS{
    {STEADY,
     {{"swift", {{"per_second", 10000.4}, {"cpu_us", 9.255}, {"errors", 0}}}, {"dead", {{"errors", 7}}}},
     {{{"steady-16", "swift", "cpu_us", 0.5, "lame"}, 0.5},
      {{"steady-16", "swift", "cpu_us", 9, ""}, 9.255}}}};

TEST(Results, MakeATableOfTheFiguresThatThereAreAndTheGoalsLast) {
    EXPECT_EQ(AsTable(WORKS), "\n### 16 in flight\n\n"
                              "| | requests/s | CPU, us | errors |\n"
                              "|---|---|---|---|\n"
                              "| swift | 10000 | 9.26 | 0 |\n"
                              "| dead | - | - | 7 |\n"
                              "\n## Goals\n\n"
                              "| | of | to | figure | | |\n"
                              "|---|---|---|---|---|---|\n"
                              "| 16 in flight | swift | lame | CPU, us | 0.50 of 0.50 | |\n"
                              "| 16 in flight | swift |  | CPU, us | 9.26 of 9.00 | missed |\n");
}

TEST(Results, MakeJson) {
    EXPECT_EQ(AsJson(WORKS), R"([
 {"work": "steady-16", "in_flight": 16, "title": "16 in flight", "peer": "swift", "per_second": 10000, "cpu_us": 9.26, "errors": 0},
 {"work": "steady-16", "in_flight": 16, "title": "16 in flight", "peer": "dead", "errors": 7},
 {"work": "steady-16", "in_flight": 16, "title": "16 in flight", "goal_of": "swift", "to": "lame", "figure": "CPU, us", "value": 0.500, "goal": 0.50, "missed": false},
 {"work": "steady-16", "in_flight": 16, "title": "16 in flight", "goal_of": "swift", "to": "", "figure": "CPU, us", "value": 9.255, "goal": 9.00, "missed": true}
]
)");
}

CrowdKind Named(const char* name, std::size_t most = 16, int rounds = std::numeric_limits<int>::max()) {
    return {name, most, nullptr, nullptr, rounds};
}

TEST(Comparison, BeginsEachRoundWithAnother) {
    std::string order;
    const WorkResults results =
        Compare(STEADY, {Named("a"), Named("b"), Named("c")}, 4, [&](const CrowdKind& kind) {
            order += kind.name;
            return Figures{{"errors", 0}};
        });
    EXPECT_EQ(order, "abcbcacababc");
    ASSERT_EQ(results.peers.size(), 3U);
    EXPECT_EQ(results.peers[1].first, "b");
}

TEST(Comparison, IsOfThoseThatCanDoTheWorkInTheRoundsThatTheyHave) {
    std::string order;
    const auto measure = [&](const CrowdKind& kind) {
        order += kind.name;
        return Figures{{"errors", 1}};
    };
    const WorkResults results = Compare(STEADY, {Named("a"), Named("b", 15), Named("c", 16, 1)}, 3, measure);
    EXPECT_EQ(order, "acaa");
    ASSERT_EQ(results.peers.size(), 2U);
    EXPECT_EQ(results.peers[0].second.at("errors"), 3);
    EXPECT_EQ(results.peers[1].second.at("errors"), 1);
    EXPECT_TRUE(Compare(CANCELLING, {Named("a")}, 1, measure).peers.empty());
}

} // namespace
