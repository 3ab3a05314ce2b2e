// SPDX-License-Identifier: Apache-2.0
#include <chrono>
#include <future>
#include <thread>

#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include <httpclient/testing/Failures.h>
#include <httpclient/testing/ResourceListener.h>

namespace httpclient::testing {

namespace {

using namespace std::chrono_literals;

const ::testing::TestInfo& ThisTest() {
    return *::testing::UnitTest::GetInstance()->current_test_info();
}

TEST(ResourceListener, FailsATestThatLeavesADescriptorOpen) {
    ResourceListener listener(10ms);
    listener.OnTestStart(ThisTest());
    const int leaked = open("/dev/null", O_RDONLY | O_CLOEXEC);
    EXPECT_NONFATAL_FAILURE(listener.OnTestEnd(ThisTest()), "/dev/null");
    close(leaked);
    listener.OnTestEnd(ThisTest());
}

TEST(ResourceListener, FailsATestThatLeavesAThreadRunning) {
    ResourceListener listener(10ms);
    listener.OnTestStart(ThisTest());
    std::promise<void> end;
    std::thread leaked([&end] { end.get_future().wait(); });
    EXPECT_NONFATAL_FAILURE(listener.OnTestEnd(ThisTest()), "threads behind");
    end.set_value();
    leaked.join();
}

TEST(ResourceListener, WaitsForStragglers) {
    ResourceListener listener(5000ms);
    listener.OnTestStart(ThisTest());
    std::promise<void> end;
    std::thread([never = end.get_future()]() mutable { never.wait_for(50ms); }).detach();
    listener.OnTestEnd(ThisTest());
}

TEST(ResourceListener, AllowsWhatItIsToldToAllow) {
    ResourceListener listener(10ms);
    listener.OnTestStart(ThisTest());
    const int kept = open("/dev/null", O_RDONLY | O_CLOEXEC);
    ResourceListener::Allow(1, 0);
    listener.OnTestEnd(ThisTest());
    const int oneTooMany = open("/dev/null", O_RDONLY | O_CLOEXEC);
    EXPECT_NONFATAL_FAILURE(listener.OnTestEnd(ThisTest()), "descriptors");
    close(kept);
    close(oneTooMany);
}

TEST(ResourceListener, MakesReportedFailuresFailuresOfTheTest) {
    EXPECT_NONFATAL_FAILURE(ReportFailure("a server is at a loss"), "a server is at a loss");
}

} // namespace

} // namespace httpclient::testing
