// SPDX-License-Identifier: Apache-2.0
// The trace reads its environment once, so that each test looks at a process of its own.
#include <chrono>
#include <ctime>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include <pthread.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <ovexcommon/TraceClient.h>

#include "TraceProcess.h"
#include "interpose/Allocations.h"
#include "tests/support/Pattern.h"

using Ovexcommon::TraceClient;

using namespace httpclient::testing;

namespace {

// What follows the thread in a line; fails when the line has another form, level or module.
std::string BodyOf(const std::string& line, int level = 5, int module = 1) {
    static const Pattern form(
        "^\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{6} \\[(\\d+)\\] \\[(\\d+)\\] \\[\\d+\\] ");
    const auto matches = form.AllIn(line);
    if (matches.empty()) {
        ADD_FAILURE() << "not a trace line: " << line;
        return "";
    }
    EXPECT_EQ(matches[0][1], std::to_string(level));
    EXPECT_EQ(matches[0][2], std::to_string(module));
    return line.substr(matches[0][0].size());
}

// The body of the one line that a process writes for this text.
std::string WrittenFor(const std::string& text) {
    const Ended child = RunInChild({}, [&] { TraceClient::Instance()->trace(5, 1, text); });
    EXPECT_EQ(child.exitCode, 0);
    EXPECT_EQ(LinesOf(child.err).size(), 1U) << child.err;
    return LinesOf(child.err).empty() ? "" : BodyOf(LinesOf(child.err).front());
}

struct LevelCase {
    const char* name;
    Variables environment;
    std::vector<int> produced; // of the levels 1 to 6
};

class TraceLevel : public ::testing::TestWithParam<LevelCase> {};

std::string LevelName(const ::testing::TestParamInfo<LevelCase>& info) {
    return info.param.name;
}

// Keeps the bytes of the case out of the name that the test runner shows.
void PrintTo(const LevelCase& value, std::ostream* stream) {
    *stream << value.name;
}

} // namespace

TEST_P(TraceLevel, ProducesThisLevelAndAbove) {
    const Ended child = RunInChild(GetParam().environment, [] {
        std::vector<int> valid;
        for (int level = 1; level <= 6; ++level) {
            if (TraceClient::Instance()->checkValid(level, 1)) {
                valid.push_back(level);
            }
            TraceClient::Instance()->trace(level, 1, "message");
        }
        EXPECT_EQ(valid, GetParam().produced);
    });
    EXPECT_EQ(child.exitCode, 0);
    ASSERT_EQ(LinesOf(child.err).size(), GetParam().produced.size()) << child.err;
    for (std::size_t i = 0; i < GetParam().produced.size(); ++i) {
        EXPECT_EQ(BodyOf(LinesOf(child.err)[i], GetParam().produced[i]), "message");
    }
}

INSTANTIATE_TEST_SUITE_P(Environment, TraceLevel,
                         ::testing::Values(LevelCase{"Unset", {}, {5, 6}},
                                           LevelCase{"Two", {{"OVEX_TRACE_LEVEL", "2"}}, {2, 3, 4, 5, 6}},
                                           LevelCase{"Three", {{"OVEX_TRACE_LEVEL", "3"}}, {3, 4, 5, 6}},
                                           LevelCase{"Five", {{"OVEX_TRACE_LEVEL", "5"}}, {5, 6}},
                                           LevelCase{"Empty", {{"OVEX_TRACE_LEVEL", ""}}, {5, 6}},
                                           LevelCase{"Four", {{"OVEX_TRACE_LEVEL", "4"}}, {5, 6}},
                                           LevelCase{"Zero", {{"OVEX_TRACE_LEVEL", "0"}}, {5, 6}},
                                           LevelCase{"TwoAndMore", {{"OVEX_TRACE_LEVEL", "2 "}}, {5, 6}},
                                           LevelCase{"Twenty", {{"OVEX_TRACE_LEVEL", "20"}}, {5, 6}},
                                           LevelCase{"AWord", {{"OVEX_TRACE_LEVEL", "debug"}}, {5, 6}}),
                         LevelName);

TEST(TraceClient, IsOneForTheProcess) {
    const Ended child = RunInChild({}, [] {
        EXPECT_NE(TraceClient::Instance(), nullptr);
        EXPECT_EQ(TraceClient::Instance(), TraceClient::Instance());
    });
    EXPECT_EQ(child.exitCode, 0);
    EXPECT_EQ(child.err, "");
}

TEST(TraceClient, ReadsTheLevelOnce) {
    const Ended child = RunInChild({{"OVEX_TRACE_LEVEL", "3"}}, [] {
        TraceClient::Instance();
        setenv("OVEX_TRACE_LEVEL", "2", 1);
        EXPECT_FALSE(TraceClient::Instance()->checkValid(2, 1));
        EXPECT_TRUE(TraceClient::Instance()->checkValid(3, 1));
    });
    EXPECT_EQ(child.exitCode, 0);
}

TEST(TraceClient, WritesTheModuleAndTheThread) {
    const Ended child = RunInChild({}, [] {
        TraceClient::Instance()->trace(5, 12, "from " + std::to_string(gettid()));
        std::thread([] { TraceClient::Instance()->trace(5, 12, "from " + std::to_string(gettid())); }).join();
    });
    EXPECT_EQ(child.exitCode, 0);
    ASSERT_EQ(LinesOf(child.err).size(), 2U);
    for (const std::string& line : LinesOf(child.err)) {
        const std::string thread = BodyOf(line, 5, 12).substr(5);
        EXPECT_NE(line.find(" [5] [12] [" + thread + "] from " + thread), std::string::npos) << line;
    }
    EXPECT_NE(BodyOf(LinesOf(child.err)[0], 5, 12), BodyOf(LinesOf(child.err)[1], 5, 12));
}

TEST(TraceClient, WritesTheTimeOfTheMessage) {
    const auto now = [] {
        char text[32];
        timespec time{};
        clock_gettime(CLOCK_REALTIME, &time); // std::time() may lag behind it by a tick
        const std::time_t seconds = time.tv_sec;
        std::tm parts{};
        std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", gmtime_r(&seconds, &parts));
        return std::string(text);
    };
    const std::string before = now();
    const Ended child = RunInChild({{"TZ", "UTC"}}, [] { TraceClient::Instance()->trace(5, 1, "message"); });
    const std::string after = now();
    const std::string written = child.err.substr(0, before.size());
    EXPECT_LE(before, written);
    EXPECT_LE(written, after);
}

TEST(TraceClient, EscapesWhatWouldBreakTheLine) {
    EXPECT_EQ(WrittenFor("a\r\n2026-11-20 23:22:54.123456 [5] [1] [7] forged\n"),
              "a\\r\\n2026-11-20 23:22:54.123456 [5] [1] [7] forged\\n");
}

TEST(TraceClient, EscapesEachControlCharacter) {
    std::string controls;
    for (int byte = 0; byte < 0x20; ++byte) {
        controls += static_cast<char>(byte);
    }
    controls += '\x7f';
    EXPECT_EQ(WrittenFor(controls),
              "\\x00\\x01\\x02\\x03\\x04\\x05\\x06\\x07\\x08\\t\\n\\x0b\\x0c\\r\\x0e\\x0f"
              "\\x10\\x11\\x12\\x13\\x14\\x15\\x16\\x17\\x18\\x19\\x1a\\x1b\\x1c\\x1d\\x1e\\x1f\\x7f");
}

TEST(TraceClient, LeavesEveryOtherByteAsItIs) {
    std::string others;
    for (int byte = 0x20; byte < 0x100; ++byte) {
        if (byte != 0x7f) {
            others += static_cast<char>(byte);
        }
    }
    EXPECT_EQ(WrittenFor(others), others);
    EXPECT_EQ(WrittenFor("日本語 é %s {} %v \\n"), "日本語 é %s {} %v \\n");
    EXPECT_EQ(WrittenFor(""), "");
}

TEST(TraceClient, WritesMessagesOfAnyLength) {
    const std::string text(1000000, 'x');
    EXPECT_EQ(WrittenFor(text), text);
}

TEST(TraceClient, SpendsNothingOnADisabledMessage) {
    if (!CountedNew::Works()) {
        GTEST_SKIP() << "allocations cannot be counted here";
    }
    const Ended child = RunInChild({{"OVEX_TRACE_LEVEL", "5"}}, [] {
        TraceClient* const client = TraceClient::Instance();
        const std::string body(100000, 'x');
        const CountedNew counted;
        EXPECT_FALSE(client->checkValid(3, 1));
        client->trace(3, 1, body);
        EXPECT_EQ(counted.Count(), 0U);
        client->trace(5, 1, body);
        EXPECT_GT(counted.Count(), 0U); // the count would have told
    });
    EXPECT_EQ(child.exitCode, 0);
    EXPECT_EQ(LinesOf(child.err).size(), 1U);
}

TEST(TraceClient, FormatsLikePrintf) {
    const Ended child = RunInChild({}, [] {
        TraceClient* const client = TraceClient::Instance();
        EXPECT_EQ(client->setBody("%s has %d of %lu, %5.2f %%, 0x%x", "it", -7, 8UL, 1.5, 255U),
                  "it has -7 of 8,  1.50 %, 0xff");
        EXPECT_EQ(client->setBody("%s", ""), "");
        EXPECT_EQ(client->setBody("a%cb", 0), std::string("a\0b", 3));
    });
    EXPECT_EQ(child.exitCode, 0);
    EXPECT_EQ(child.err, "");
}

TEST(TraceClient, FormatsBodiesOfAnyLength) {
    const Ended child = RunInChild({}, [] {
        for (const std::size_t length : {510U, 511U, 512U, 513U, 100000U, 1000000U}) {
            const std::string text(length - 1, 'y');
            EXPECT_EQ(TraceClient::Instance()->setBody("%c%s", 'x', text.c_str()), "x" + text) << length;
        }
    });
    EXPECT_EQ(child.exitCode, 0);
}

TEST(TraceClient, KeepsTheLinesOfManyThreadsWhole) {
    constexpr int THREADS = 8;
    constexpr int MESSAGES = 250;
    const auto body = [](int thread, int message) {
        return std::to_string(thread) + ":" + std::to_string(message) + ":" +
               std::string(static_cast<std::size_t>(message % 300), static_cast<char>('a' + thread));
    };
    const Ended child = RunInChild({}, [&] {
        std::vector<std::thread> threads;
        for (int thread = 0; thread < THREADS; ++thread) {
            threads.emplace_back([&body, thread] {
                for (int message = 0; message < MESSAGES; ++message) {
                    TraceClient::Instance()->trace(5, 1, body(thread, message));
                }
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
    });
    EXPECT_EQ(child.exitCode, 0);
    std::vector<int> next(THREADS, 0);
    for (const std::string& line : LinesOf(child.err)) {
        const std::string text = BodyOf(line);
        const int thread = text.empty() ? -1 : text.front() - '0';
        ASSERT_TRUE(thread >= 0 && thread < THREADS) << line;
        ASSERT_EQ(text, body(thread, next[static_cast<std::size_t>(thread)]++));
    }
    EXPECT_EQ(next, std::vector<int>(THREADS, MESSAGES));
}

TEST(TraceClient, WorksUntilTheVeryEndOfTheProcess) {
    const Ended child = RunInChild({}, [] {
        // Registered before the service exists, thus run after whatever would destroy it.
        std::atexit([] { TraceClient::Instance()->trace(5, 1, "after main"); });
        TraceClient::Instance()->trace(5, 1, "in main");
    });
    EXPECT_EQ(child.exitCode, 0);
    ASSERT_EQ(LinesOf(child.err).size(), 2U);
    EXPECT_EQ(BodyOf(LinesOf(child.err)[0]), "in main");
    EXPECT_EQ(BodyOf(LinesOf(child.err)[1]), "after main");
}

TEST(TraceClient, ServesThreadsThatOutliveMain) {
    const Ended child = RunInChild({}, [] {
        TraceClient::Instance();
        for (int i = 0; i < 4; ++i) {
            std::thread([] {
                for (;;) {
                    TraceClient::Instance()->trace(5, 1, "still here");
                }
            }).detach();
        }
        TraceClient::Instance()->trace(5, 1, "main ends");
    });
    EXPECT_EQ(child.exitCode, 0);
    EXPECT_NE(child.err.find("main ends"), std::string::npos);
}

TEST(TraceClient, SurvivesAClosedStandardError) {
    const Ended child = RunInChild({}, [] {
        close(STDERR_FILENO);
        TraceClient::Instance()->trace(5, 1, "nobody hears");
    });
    EXPECT_EQ(child.exitCode, 0);
    EXPECT_EQ(child.err, "");
}

TEST(TraceClient, WritesTheLineOfACancelledThreadWholeAndLetsItEndAfterwards) {
    const Ended child = RunInChild({}, [] {
        std::thread thread([] {
            pthread_cancel(pthread_self());
            TraceClient::Instance()->trace(5, 1, "the last words");
            pthread_testcancel();
            TraceClient::Instance()->trace(5, 1, "not cancelled");
        });
        thread.join();
    });
    EXPECT_EQ(child.exitCode, 0);
    ASSERT_EQ(LinesOf(child.err).size(), 1U) << child.err;
    EXPECT_EQ(BodyOf(LinesOf(child.err).front()), "the last words");
}
