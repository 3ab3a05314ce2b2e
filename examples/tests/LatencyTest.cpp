// SPDX-License-Identifier: Apache-2.0
#include "send/Latency.h"

#include <sstream>

#include <gtest/gtest.h>

#include "send/Progress.h"

using sender::Duration;
using sender::Latencies;
using sender::Outcome;
using sender::ProgressBar;
using sender::Tally;
using std::chrono::milliseconds;

namespace {

Latencies OneToHundred() {
    std::vector<Duration> times;
    for (int count = 100; count >= 1; --count) {
        times.emplace_back(milliseconds(count));
    }
    return Latencies(std::move(times));
}

Outcome Answer(int status, size_t bytes) {
    Outcome outcome;
    outcome.status = status;
    outcome.body = std::string(bytes, 'x');
    return outcome;
}

} // namespace

TEST(Latency, PercentilesAreTimesThatWereMeasured) {
    const Latencies times = OneToHundred();
    EXPECT_EQ(times.Min(), milliseconds(1));
    EXPECT_EQ(times.Percentile(50), milliseconds(50));
    EXPECT_EQ(times.Percentile(90), milliseconds(90));
    EXPECT_EQ(times.Percentile(99), milliseconds(99));
    EXPECT_EQ(times.Percentile(100), milliseconds(100));
    EXPECT_EQ(times.Max(), milliseconds(100));
}

TEST(Latency, OneTimeIsEveryPercentile) {
    const Latencies times({milliseconds(7)});
    EXPECT_EQ(times.Percentile(1), milliseconds(7));
    EXPECT_EQ(times.Percentile(50), milliseconds(7));
    EXPECT_EQ(times.Percentile(99), milliseconds(7));
}

TEST(Latency, TalliesOfThreadsAddUp) {
    Tally one;
    one.Add(Answer(200, 10));
    one.Add(Answer(500, 1));
    Tally other;
    other.Add(Answer(200, 5));
    other.Add(Answer(Outcome::NO_ANSWER, 0));
    one.Add(other);
    EXPECT_EQ(one.statuses.at(200), 2U);
    EXPECT_EQ(one.statuses.at(500), 1U);
    EXPECT_EQ(one.statuses.at(Outcome::NO_ANSWER), 1U);
    EXPECT_EQ(one.times.size(), 4U);
    EXPECT_EQ(one.bodyBytes, 16U);
}

TEST(Progress, ShowsHowMuchIsDone) {
    EXPECT_EQ(ProgressBar::Text(0, 8), "[                                        ]   0% 0/8");
    EXPECT_EQ(ProgressBar::Text(4, 8), "[####################                    ]  50% 4/8");
    EXPECT_EQ(ProgressBar::Text(8, 8), "[########################################] 100% 8/8");
}

TEST(Progress, DrawsInPlaceAndWipesItself) {
    std::ostringstream out;
    { ProgressBar(&out, 2).Draw(1); }
    EXPECT_EQ(out.str(), "\r" + ProgressBar::Text(1, 2) + "\r\033[K");
}

TEST(Progress, DrawsNothingWithoutATerminal) {
    ProgressBar bar(nullptr, 2);
    bar.Draw(1); // would crash if it drew
}
