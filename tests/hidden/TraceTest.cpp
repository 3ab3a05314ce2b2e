// SPDX-License-Identifier: Apache-2.0
#include "support/Trace.h"

#include <string>
#include <thread>

#include <pthread.h>

#include <gtest/gtest.h>

#include <httpclient/testing/RecordingTrace.h>

using httpclient::testing::TraceRecorder;

namespace {

class TraceTest : public ::testing::Test {
protected:
    TraceTest() {
        TraceRecorder::Instance().SetLowestLevel(3);
        TraceRecorder::Instance().Clear();
    }
    ~TraceTest() override { TraceRecorder::Instance().MirrorToStandardError(false); }
};

} // namespace

TEST_F(TraceTest, WritesAMessageOfAnyLengthWhole) {
    for (const std::size_t size : {0, 1, 1022, 1023, 1024, 1025, 100'000}) {
        TraceRecorder::Instance().Clear();
        const std::string text(size, 'x');
        TraceText(TraceLevel::Error, "%s", text.c_str());
        EXPECT_EQ(TraceRecorder::Instance().Count(5, text), 1U) << size;
    }
}

TEST_F(TraceTest, WritesArgumentsOfEachKindAndNoFormatWithinThem) {
    TraceText(TraceLevel::Progress, "%s %d %u %ld%%", "%s%n", -1, 4294967295U, 1L << 40);
    EXPECT_EQ(TraceRecorder::Instance().Count(3, "%s%n -1 4294967295 1099511627776%"), 1U);
}

TEST_F(TraceTest, FormatsNothingBelowTheLevel) {
    TraceText(TraceLevel::Detail, "%s", "text");
    EXPECT_FALSE(TraceEnabled(TraceLevel::Detail));
    EXPECT_EQ(TraceRecorder::Instance().Formatted(), 0U);
}

TEST_F(TraceTest, LetsACancellationThroughThatComesInTheLog) {
    TraceRecorder::Instance().MirrorToStandardError(true); // which is a cancellation point
    bool returned = false;
    std::thread thread([&returned] {
        pthread_cancel(pthread_self());
        TraceText(TraceLevel::Error, "text");
        returned = true;
    });
    thread.join();
    EXPECT_FALSE(returned);
}
