// SPDX-License-Identifier: Apache-2.0
// The trace file, as a process sees it that names one in its environment.
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include <unistd.h>

#include <gtest/gtest.h>

#include <ovexcommon/TraceClient.h>

#include <httpclient/testing/Environment.h>
#include <httpclient/testing/Files.h>

#include "TraceProcess.h"

using Ovexcommon::TraceClient;

using namespace httpclient::testing;

namespace {

constexpr std::size_t MAX_FILE_SIZE = 10UL * 1024 * 1024;

class TraceFile : public ::testing::Test {
protected:
    std::filesystem::path file() const { return m_directory.path() / "logs/trace.log"; }
    Variables environment() const { return {{"OVEX_TRACE_FILE", file().string()}}; }
    std::filesystem::path old(int number) const {
        return m_directory.path() / ("logs/trace." + std::to_string(number) + ".log");
    }
    // Leaves room for so many bytes in the trace file, before it has to rotate.
    void FillFile(std::size_t room) const {
        m_directory.Write(file(), "");
        std::filesystem::resize_file(file(), MAX_FILE_SIZE - room - 1);
        std::ofstream(file(), std::ios::app) << '\n';
    }

    TemporaryDirectory m_directory;
};

void Trace(const std::string& text) {
    TraceClient::Instance()->trace(5, 1, text);
}

bool Ends(const std::string& text, const std::string& end) {
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

} // namespace

TEST_F(TraceFile, TakesTheLinesInsteadOfStandardError) {
    const Ended child = RunInChild(environment(), [] {
        Trace("first");
        Trace("second\n");
    });
    EXPECT_EQ(child.exitCode, 0);
    EXPECT_EQ(child.err, "");
    const std::vector<std::string> lines = LinesOf(ReadFile(file()));
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_TRUE(Ends(lines[0], "] first"));
    EXPECT_TRUE(Ends(lines[1], "] second\\n"));
}

TEST_F(TraceFile, HoldsALineAsSoonAsItIsTraced) {
    const Ended child = RunInChild(environment(), [] {
        Trace("before the crash");
        _exit(0); // no flush, no destructor
    });
    EXPECT_EQ(child.exitCode, 0);
    EXPECT_TRUE(Ends(ReadFile(file()), "] before the crash\n"));
}

TEST_F(TraceFile, KeepsWhatAnEarlierProcessWrote) {
    m_directory.Write(file(), "earlier\n");
    EXPECT_EQ(RunInChild(environment(), [] { Trace("later"); }).exitCode, 0);
    const std::vector<std::string> lines = LinesOf(ReadFile(file()));
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0], "earlier");
    EXPECT_TRUE(Ends(lines[1], "] later"));
}

TEST_F(TraceFile, IsStandardErrorWhenTheVariableIsEmpty) {
    const Ended child = RunInChild({{"OVEX_TRACE_FILE", ""}}, [] { Trace("message"); });
    EXPECT_EQ(child.exitCode, 0);
    EXPECT_TRUE(Ends(child.err, "] message\n"));
}

TEST_F(TraceFile, RotatesAtTenMegabytesAndKeepsFiveOldFiles) {
    FillFile(300);
    for (int number = 1; number <= 5; ++number) {
        m_directory.Write(old(number), "old " + std::to_string(number));
    }
    const Ended child = RunInChild(environment(), [] {
        Trace(std::string(200, 'x')); // fits
        Trace(std::string(200, 'y')); // does not
    });
    EXPECT_EQ(child.exitCode, 0);
    EXPECT_EQ(child.err, "");
    EXPECT_TRUE(Ends(ReadFile(file()), std::string(200, 'y') + "\n"));
    EXPECT_LT(std::filesystem::file_size(file()), 300U);
    EXPECT_TRUE(Ends(ReadFile(old(1)), std::string(200, 'x') + "\n"));
    EXPECT_LE(std::filesystem::file_size(old(1)), MAX_FILE_SIZE);
    for (int number = 2; number <= 5; ++number) {
        EXPECT_EQ(ReadFile(old(number)), "old " + std::to_string(number - 1));
    }
    EXPECT_FALSE(std::filesystem::exists(old(6)));
}

TEST_F(TraceFile, LosesNoLineAtARotation) {
    FillFile(5000);
    const Ended child = RunInChild(environment(), [] {
        for (int i = 0; i < 100; ++i) {
            Trace("message " + std::to_string(i) + ".");
        }
    });
    EXPECT_EQ(child.exitCode, 0);
    const std::size_t oldLines = LinesOf(ReadFile(old(1))).size();
    const std::vector<std::string> lines = LinesOf(ReadFile(old(1)) + ReadFile(file()));
    ASSERT_EQ(lines.size(), 101U);
    for (std::size_t i = 1; i < lines.size(); ++i) {
        EXPECT_TRUE(Ends(lines[i], "] message " + std::to_string(i - 1) + ".")) << lines[i];
    }
    EXPECT_GT(oldLines, 50U);
    EXPECT_LT(oldLines, 100U);
}

TEST_F(TraceFile, KeepsTheLinesOfManyThreadsWhole) {
    const Ended child = RunInChild(environment(), [] {
        std::vector<std::thread> threads;
        for (int thread = 0; thread < 8; ++thread) {
            threads.emplace_back([thread] {
                for (int i = 0; i < 50; ++i) {
                    Trace(std::string(5000, static_cast<char>('a' + thread)));
                }
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
    });
    EXPECT_EQ(child.exitCode, 0);
    std::vector<int> count(8, 0);
    for (const std::string& line : LinesOf(ReadFile(file()))) {
        const char letter = line.empty() ? '?' : line.back();
        ASSERT_TRUE(letter >= 'a' && letter <= 'h');
        ASSERT_TRUE(Ends(line, "] " + std::string(5000, letter)));
        ++count[static_cast<std::size_t>(letter - 'a')];
    }
    EXPECT_EQ(count, std::vector<int>(8, 50));
}

TEST_F(TraceFile, IsClosedInProgramsThatTheProcessStarts) {
    const Ended child = RunInChild(environment(), [] {
        Trace("message");
        execl("/bin/sh", "sh", "-c", "for f in /proc/$$/fd/*; do readlink $f >&2; done; exit 0", nullptr);
    });
    EXPECT_EQ(child.exitCode, 0);
    EXPECT_NE(child.err, "");
    EXPECT_EQ(child.err.find("trace.log"), std::string::npos) << child.err;
}

TEST_F(TraceFile, IsReplacedByStandardErrorWhenItCannotBeOpened) {
    m_directory.Write("logs", "not a directory");
    const Ended child = RunInChild(environment(), [] {
        Trace("first");
        Trace("second");
    });
    EXPECT_EQ(child.exitCode, 0);
    ASSERT_EQ(LinesOf(child.err).size(), 3U) << child.err;
    EXPECT_EQ(LinesOf(child.err)[0].find("Trace file lost, tracing to standard error: "), 0U);
    EXPECT_NE(LinesOf(child.err)[0].find(file().string()), std::string::npos);
    EXPECT_TRUE(Ends(LinesOf(child.err)[1], "] first"));
    EXPECT_TRUE(Ends(LinesOf(child.err)[2], "] second"));
}

TEST_F(TraceFile, IsReplacedByStandardErrorOnAFullDisk) {
    const Ended child = RunInChild({{"OVEX_TRACE_FILE", "/dev/full"}}, [] {
        Trace("first");
        Trace(std::string(10000, 'x'));
    });
    EXPECT_EQ(child.exitCode, 0);
    ASSERT_EQ(LinesOf(child.err).size(), 3U) << child.err;
    EXPECT_EQ(LinesOf(child.err)[0].find("Trace file lost, tracing to standard error: "), 0U);
    EXPECT_TRUE(Ends(LinesOf(child.err)[1], "] first"));
    EXPECT_TRUE(Ends(LinesOf(child.err)[2], "] " + std::string(10000, 'x')));
}

TEST_F(TraceFile, IsReplacedByStandardErrorWhenARotationFindsNoDirectory) {
    FillFile(300);
    const Ended child = RunInChild(environment(), [this] {
        TraceClient::Instance();
        std::filesystem::remove_all(file().parent_path());
        m_directory.Write(file().parent_path(), "not a directory");
        Trace(std::string(300, 'y')); // rotates, and finds no place for the new file
        Trace("small");
    });
    EXPECT_EQ(child.exitCode, 0);
    ASSERT_EQ(LinesOf(child.err).size(), 3U) << child.err;
    EXPECT_EQ(LinesOf(child.err)[0].find("Trace file lost, tracing to standard error: "), 0U);
    EXPECT_TRUE(Ends(LinesOf(child.err)[1], "] " + std::string(300, 'y')));
    EXPECT_TRUE(Ends(LinesOf(child.err)[2], "] small"));
}

TEST_F(TraceFile, IsReplacedByStandardErrorWhenARotationCannotRename) {
    FillFile(300);
    m_directory.Write(old(4), "old");
    m_directory.Write(old(5) / "occupied", "");
    const Ended child = RunInChild(environment(), [] { Trace(std::string(300, 'y')); });
    EXPECT_EQ(child.exitCode, 0);
    ASSERT_EQ(LinesOf(child.err).size(), 2U) << child.err;
    EXPECT_EQ(LinesOf(child.err)[0].find("Trace file lost, tracing to standard error: "), 0U);
    EXPECT_TRUE(Ends(LinesOf(child.err)[1], "] " + std::string(300, 'y')));
}
