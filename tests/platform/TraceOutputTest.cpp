// SPDX-License-Identifier: Apache-2.0
// What the trace does about a file that fails and comes back, with the time given by the test.
#include <chrono>
#include <filesystem>
#include <string>

#include <TraceOutput.h>

#include <gtest/gtest.h>

#include <httpclient/testing/Environment.h>
#include <httpclient/testing/Files.h>

#include "TraceProcess.h"

using Ovexcommon::TraceOutput;
using std::chrono::seconds;

using namespace httpclient::testing;

namespace {

const TraceOutput::Time START = std::chrono::system_clock::from_time_t(1800000000);

// A trace file that the test can switch between a full disk and a good one.
class TraceOutputRetry : public ::testing::Test {
protected:
    TraceOutputRetry() { FillDisk(); }

    void FillDisk() const { PointTo("/dev/full"); }
    void FreeDisk() const { PointTo(good()); }
    void BlockRotation() const {
        m_directory.Write("trace.4.log", "old");
        m_directory.Write("trace.5.log/occupied", "");
    }
    std::filesystem::path good() const { return m_directory.path() / "good.log"; }
    std::string path() const { return m_directory.path() / "trace.log"; }

private:
    void PointTo(const std::filesystem::path& target) const {
        std::filesystem::remove(path());
        std::filesystem::create_symlink(target, path());
    }

    TemporaryDirectory m_directory;
};

std::size_t Count(const std::string& text, const std::string& part) {
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++count;
    }
    return count;
}

} // namespace

TEST_F(TraceOutputRetry, TriesALostFileAgainAfterAMinute) {
    const Ended child = RunInChild({}, [this] {
        TraceOutput output(path(), START);
        output.write(START, "lost");
        FreeDisk();
        output.write(START + seconds(59), "just before");
        output.write(START + seconds(60), "at");
        output.write(START + seconds(61), "just after");
    });
    EXPECT_EQ(child.exitCode, 0);
    EXPECT_EQ(LinesOf(child.err).size(), 3U) << child.err; // the notice, "lost" and "just before"
    EXPECT_EQ(Count(child.err, " just before\n"), 1U);
    EXPECT_EQ(LinesOf(ReadFile(good())).size(), 2U);
    EXPECT_EQ(Count(ReadFile(good()), " at\n"), 1U);
    EXPECT_EQ(Count(ReadFile(good()), " just after\n"), 1U);
}

TEST_F(TraceOutputRetry, SaysOnceThatTheFileIsLost) {
    const Ended child = RunInChild({}, [this] {
        TraceOutput output(path(), START);
        for (int minute = 0; minute < 5; ++minute) {
            output.write(START + std::chrono::minutes(minute), "message");
        }
    });
    EXPECT_EQ(child.exitCode, 0);
    EXPECT_EQ(Count(child.err, "Trace file lost"), 1U);
    EXPECT_EQ(Count(child.err, " message\n"), 5U);
}

TEST_F(TraceOutputRetry, SaysAgainWhenTheFileIsLostAgain) {
    const Ended child = RunInChild({}, [this] {
        TraceOutput output(path(), START);
        output.write(START, "lost");
        FreeDisk();
        output.write(START + seconds(60), "found");
        BlockRotation();
        output.write(START + seconds(61), std::string(TraceOutput::MAX_FILE_SIZE, 'x'));
    });
    EXPECT_EQ(child.exitCode, 0);
    EXPECT_EQ(Count(child.err, "Trace file lost"), 2U);
}
