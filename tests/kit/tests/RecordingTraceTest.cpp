// SPDX-License-Identifier: Apache-2.0
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <httpclient/testing/RecordingTrace.h>

#include "TracingLibrary.h"

namespace httpclient::testing {

namespace {

struct Recorder : ::testing::Test {
    TraceRecorder& recorder = TraceRecorder::Instance();
    Recorder() {
        recorder.SetLowestLevel(0);
        recorder.Clear();
    }
};

TEST_F(Recorder, TakesTheMessagesOfASharedLibrary) {
    LogFromLibrary(5, "first", 1);
    LogFromLibrary(3, "second", 2);
    const std::vector<TracedMessage> messages = recorder.Messages();
    ASSERT_EQ(messages.size(), 2U);
    EXPECT_EQ(messages[0].level, 5);
    EXPECT_EQ(messages[0].module, 1);
    EXPECT_EQ(messages[0].body, "first 1");
    EXPECT_EQ(messages[0].thread, std::this_thread::get_id());
    EXPECT_EQ(messages[1].body, "second 2");
    EXPECT_EQ(recorder.Texts(3), std::vector<std::string>{"second 2"});
}

TEST_F(Recorder, CountsByLevelAndExactText) {
    LogFromLibrary(5, "same", 1);
    LogFromLibrary(5, "same", 1);
    LogFromLibrary(3, "same", 1);
    EXPECT_EQ(recorder.Count(5, "same 1"), 2U);
    EXPECT_EQ(recorder.Count(3, "same 1"), 1U);
    EXPECT_EQ(recorder.Count(5, "same"), 0U);
    EXPECT_EQ(recorder.CountContaining("same"), 3U);
}

TEST_F(Recorder, LetsThroughOnlyTheLevelsThatItIsTold) {
    recorder.SetLowestLevel(4);
    LogFromLibrary(3, "below", 1);
    LogFromLibrary(4, "at", 1);
    LogFromLibrary(5, "above", 1);
    EXPECT_EQ(recorder.Messages().size(), 2U);
    EXPECT_EQ(recorder.Formatted(), 2U);
}

TEST_F(Recorder, KeepsTextsOfAnyLength) {
    const std::string longText(100000, 'x');
    LogFromLibrary(5, longText.c_str(), 7);
    EXPECT_EQ(recorder.Count(5, longText + " 7"), 1U);
}

TEST_F(Recorder, WaitsForAMessageOfAnotherThread) {
    EXPECT_FALSE(recorder.WaitFor(3, "late 1", std::chrono::milliseconds(20)));
    std::thread other([] { LogFromLibrary(3, "late", 1); });
    EXPECT_TRUE(recorder.WaitFor(3, "late 1"));
    EXPECT_EQ(recorder.Messages().front().thread, other.get_id());
    other.join();
}

TEST_F(Recorder, MirrorsToStandardErrorOnlyWhenTold) {
    ::testing::internal::CaptureStderr();
    LogFromLibrary(5, "silent", 1);
    recorder.MirrorToStandardError(true);
    LogFromLibrary(5, "loud", 1);
    recorder.MirrorToStandardError(false);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "[5] [1] loud 1\n");
}

TEST_F(Recorder, ForgetsWhenCleared) {
    LogFromLibrary(5, "gone", 1);
    recorder.Clear();
    EXPECT_TRUE(recorder.Messages().empty());
    EXPECT_EQ(recorder.Formatted(), 0U);
}

} // namespace

} // namespace httpclient::testing
