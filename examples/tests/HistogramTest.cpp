// SPDX-License-Identifier: Apache-2.0
// The picture of many times: ranges without gaps, bars as long as their shares.
#include "send/Histogram.h"

#include <chrono>
#include <string>
#include <vector>

#include <gtest/gtest.h>

using namespace std::chrono_literals;
using sender::DrawHistogram;
using sender::Duration;

TEST(Histogram, OfNoTimesIsEmpty) {
    EXPECT_EQ(DrawHistogram({}), "");
}

TEST(Histogram, PutsATimeIntoTheFirstRangeThatHoldsIt) {
    EXPECT_EQ(DrawHistogram({0us, 1us}), "        0.001 ms         2 " + std::string(50, '#') + "\n");
    EXPECT_EQ(DrawHistogram({1024us}), "        1.024 ms         1 " + std::string(50, '#') + "\n");
    EXPECT_EQ(DrawHistogram({1025us}), "        2.048 ms         1 " + std::string(50, '#') + "\n");
}

TEST(Histogram, DrawsRangesWithoutTimesToo) {
    EXPECT_EQ(DrawHistogram({1ms, 1ms, 5ms}), "        1.024 ms         2 " + std::string(50, '#') +
                                                  "\n"
                                                  "        2.048 ms         0\n"
                                                  "        4.096 ms         0\n"
                                                  "        8.192 ms         1 " +
                                                  std::string(25, '#') + "\n");
}

TEST(Histogram, DrawsABarForTheRarest) {
    std::vector<Duration> times(1000, 1ms);
    times.push_back(2ms);
    EXPECT_EQ(DrawHistogram(times), "        1.024 ms      1000 " + std::string(50, '#') +
                                        "\n"
                                        "        2.048 ms         1 #\n");
}
