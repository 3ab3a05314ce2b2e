// SPDX-License-Identifier: Apache-2.0
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "OpenSeam.h"
#include "message/charset/CodeSetConverter.h"

namespace {

struct Sample {
    std::string from;
    std::string to;
    std::string in;
    int result;
    std::string out;
};

/// Lets eight threads start at once, each one with its own share of the samples.
int CountWrong(const std::vector<Sample>& samples) {
    constexpr std::size_t THREADS = 8;
    constexpr std::size_t ROUNDS = 400;
    std::atomic<bool> go{false};
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (std::size_t number = 0; number < THREADS; ++number) {
        threads.emplace_back([&, number] {
            while (!go) {
                std::this_thread::yield();
            }
            for (std::size_t round = 0; round < ROUNDS; ++round) {
                const Sample& sample = samples[(number + round) % samples.size()];
                std::string out;
                const int result = ConvertCodeSet(sample.from, sample.to, sample.in, out);
                if (result != sample.result || out != sample.out) {
                    ++wrong;
                }
            }
        });
    }
    go = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
    return wrong;
}

TEST(CodeSetConverterThreads, OnePairServesAllThreadsExactly) {
    EXPECT_EQ(CountWrong({{"gBK", "uTF-8", "abc\xC4\xE3", 0, "abc\xE4\xBD\xA0"},
                          {"gBK", "uTF-8", "\xFF\x80", 2, "??"},
                          {"gBK", "uTF-8", "\xBA\xC3 \xC4", -1, ""},
                          {"gBK", "uTF-8", "plain", 0, "plain"}}),
              0);
    EXPECT_EQ(OpenSeam::Opened("gBK", "uTF-8"), 1);
}

TEST(CodeSetConverterThreads, DifferentPairsServeAllThreadsExactly) {
    EXPECT_EQ(CountWrong({{"GBk", "uTf-8", "\xC4\xE3", 0, "\xE4\xBD\xA0"},
                          {"uTf-8", "GBk", "\xE4\xBD\xA0", 0, "\xC4\xE3"},
                          {"Cp1252", "uTf-8", "\x80", 0, "\xE2\x82\xAC"},
                          {"uTf-8", "ascii", "\xC3\xA9 e", 1, "? e"},
                          {"Koi8-r", "Cp1251", "\xC1", 0, "\xE0"},
                          {"no set", "uTf-8", "x", -1, ""},
                          {"uTf-8", "uTf-16LE", "\xE4\xBD\xA0", 0, "\x60\x4F"}}),
              0);
    EXPECT_EQ(OpenSeam::Opened("GBk", "uTf-8"), 1);
    EXPECT_EQ(OpenSeam::Opened("Koi8-r", "Cp1251"), 1);
}

} // namespace
