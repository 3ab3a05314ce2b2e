// SPDX-License-Identifier: Apache-2.0
// What bounds retries: the budget, and the server's Retry-After.
#include <atomic>
#include <chrono>
#include <clocale>
#include <ctime>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "engine/RetryAfter.h"
#include "engine/RetryBudget.h"

using namespace httpclient::engine;

namespace {

int TakeAll(RetryBudget& budget) {
    int taken = 0;
    while (budget.Take()) {
        ++taken;
    }
    return taken;
}

/// 6 November 1994, 08:49:37, the date of RFC 9110, 5.6.7.
constexpr std::time_t THEN = 784111777;

std::string After(const std::string& value, std::time_t now = THEN - 90) {
    const auto seconds = ParseRetryAfter(value, now);
    return seconds ? std::to_string(seconds->count()) : "nothing";
}

} // namespace

TEST(RetryBudget, HoldsTenAtTheStart) {
    RetryBudget budget(0.2);
    EXPECT_EQ(TakeAll(budget), 10);
}

TEST(RetryBudget, GetsItsShareWithEachCall) {
    RetryBudget budget(0.2);
    TakeAll(budget);
    for (int call = 0; call < 4; ++call) {
        budget.CountCall();
    }
    EXPECT_FALSE(budget.Take());
    budget.CountCall();
    EXPECT_TRUE(budget.Take());
    EXPECT_FALSE(budget.Take());
}

TEST(RetryBudget, NeverHoldsMoreThanTen) {
    for (const double share : {0.2, 3.0, 10.0, 1e300}) {
        RetryBudget budget(share);
        for (int call = 0; call < 100; ++call) {
            budget.CountCall();
        }
        EXPECT_EQ(TakeAll(budget), 10) << share;
    }
}

TEST(RetryBudget, OfTheSmallestShareIsFullAtTheStartToo) {
    RetryBudget budget(1e-300);
    EXPECT_EQ(TakeAll(budget), 10);
    budget.CountCall();
    EXPECT_FALSE(budget.Take());
}

TEST(RetryBudget, OfNoShareIsAlwaysEmpty) {
    RetryBudget budget(0);
    budget.CountCall();
    EXPECT_FALSE(budget.Take());
}

TEST(RetryBudget, GivesAwayNoMoreThanItHasToManyThreads) {
    RetryBudget budget(0.5);
    std::atomic<int> taken{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int call = 0; call < 1000; ++call) {
                budget.CountCall();
                taken += budget.Take() ? 1 : 0;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    taken += TakeAll(budget);
    EXPECT_LE(taken, 2010);
    EXPECT_GE(taken, 1900);
}

TEST(RetryAfter, IsANumberOfSeconds) {
    EXPECT_EQ(After("0"), "0");
    EXPECT_EQ(After("120"), "120");
    EXPECT_EQ(After("00120"), "120");
}

TEST(RetryAfter, BeyondAYearIsAYear) {
    EXPECT_EQ(After("31536000"), "31536000");
    EXPECT_EQ(After("31536001"), "31536000");
    EXPECT_EQ(After("99999999999999999999999999"), "31536000");
    EXPECT_EQ(After("Fri, 31 Dec 9999 23:59:59 GMT"), "31536000");
}

TEST(RetryAfter, IsADateInAnyOfThreeForms) {
    EXPECT_EQ(After("Sun, 06 Nov 1994 08:49:37 GMT"), "90");
    EXPECT_EQ(After("Sunday, 06-Nov-94 08:49:37 GMT"), "90");
    EXPECT_EQ(After("Sun Nov  6 08:49:37 1994"), "90");
}

TEST(RetryAfter, OfThePastIsAtOnce) {
    EXPECT_EQ(After("Sun, 06 Nov 1994 08:49:37 GMT", THEN), "0");
    EXPECT_EQ(After("Sun, 06 Nov 1994 08:49:37 GMT", THEN + 1), "0");
}

TEST(RetryAfter, OfAnotherFormIsNone) {
    for (const std::string text :
         {"", " ", "-1", "+1", "1.5", "1 ", "12 s", "soon", "Sun, 06 Nov 1994", "Sun, 06 Nov 1994 08:49:37",
          "Sun, 06 Nov 1994 08:49:37 GMT+1", "06 Nov 1994 08:49:37 GMT", "Sun, 32 Nov 1994 08:49:37 GMT",
          "Sun, 06 Xyz 1994 08:49:37 GMT"}) {
        EXPECT_EQ(After(text), "nothing") << text;
    }
}

TEST(RetryAfter, IsReadTheSameUnderTheHostsLocale) {
    const std::string before = std::setlocale(LC_ALL, nullptr);
    for (const char* locale : {"de_DE.UTF-8", "fr_FR.UTF-8", "C.UTF-8"}) {
        std::setlocale(LC_ALL, locale); // one that is not installed changes nothing
        EXPECT_EQ(After("Sun, 06 Nov 1994 08:49:37 GMT"), "90") << locale;
    }
    std::setlocale(LC_ALL, before.c_str());
}
