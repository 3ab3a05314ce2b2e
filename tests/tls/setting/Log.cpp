// SPDX-License-Identifier: Apache-2.0
#include "setting/Log.h"

#include <thread>

#include <gtest/gtest.h>

#include <httpclient/testing/RecordingTrace.h>

using httpclient::testing::TraceRecorder;

void StartLog() {
    TraceRecorder::Instance().SetLowestLevel(0);
    TraceRecorder::Instance().Clear();
}

Lines Logged(int lowestLevel) {
    Lines lines;
    for (const auto& message : TraceRecorder::Instance().Messages()) {
        if (message.thread == std::this_thread::get_id() && message.level >= lowestLevel) {
            EXPECT_EQ(message.module, 1) << message.body;
            lines.push_back("[" + std::to_string(message.level) + "] " + message.body);
        }
    }
    return lines;
}
