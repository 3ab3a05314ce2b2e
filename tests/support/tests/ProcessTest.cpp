// SPDX-License-Identifier: Apache-2.0
#include "tests/support/Process.h"

#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <utility>

#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <httpclient/testing/Environment.h>
#include <httpclient/testing/ResourceListener.h>

#include "tests/support/Forked.h"
#include "tests/support/Pipe.h"

namespace httpclient::testing {

namespace {

Command Shell(const std::string& script) {
    Command command;
    command.words = {"sh", "-c", script};
    return command;
}

/// A program that runs until it is ended.
Command Endless() {
    Command command;
    command.words = {"sleep", "1000"};
    return command;
}

} // namespace

TEST(RunCommand, TellsWhatItWroteAndHowItEnded) {
    const Ended ended = RunCommand(Shell("echo out; echo err >&2; exit 7"));
    EXPECT_EQ(ended.out, "out\n");
    EXPECT_EQ(ended.err, "err\n");
    EXPECT_EQ(ended.exitCode, 7);
    EXPECT_EQ(ended.signal, 0);
}

TEST(RunCommand, TellsTheSignalThatEndedIt) {
    const Ended ended = RunCommand(Shell("kill -KILL $$"));
    EXPECT_EQ(ended.exitCode, -1);
    EXPECT_EQ(ended.signal, SIGKILL);
}

TEST(RunCommand, ExitsWith127WhenThereIsNone) {
    Command command;
    command.words = {"/missing/program"};
    EXPECT_EQ(RunCommand(command).exitCode, 127);
    command.words = {"no-program-of-this-name"};
    EXPECT_EQ(RunCommand(command).exitCode, 127);
}

TEST(RunCommand, FeedsMoreThanAPipeHoldsAndReadsItBack) {
    Command command;
    command.words = {"cat"};
    command.input = std::string(1'000'000, 'x') + "end";
    EXPECT_EQ(RunCommand(command).out, command.input);
}

TEST(RunCommand, MayEndBeforeItHasReadItsInput) {
    Command command = Shell("exit 3");
    command.input = std::string(1'000'000, 'x');
    EXPECT_EQ(RunCommand(command).exitCode, 3);
}

TEST(RunCommand, SeesTheEndOfItsInput) {
    EXPECT_EQ(RunCommand(Shell("cat; echo end")).out, "end\n");
}

TEST(RunCommand, HasTheEnvironmentOfItsCallerUnlessGivenAnother) {
    const ScopedEnvironment variable("HTTPCLIENT_TEST_VARIABLE", "inherited");
    Command command = Shell("echo ${HTTPCLIENT_TEST_VARIABLE-unset} ${OTHER-unset}");
    EXPECT_EQ(RunCommand(command).out, "inherited unset\n");
    command.environment = Variables{{"OTHER", "given"}};
    EXPECT_EQ(RunCommand(command).out, "unset given\n");
}

TEST(RunCommand, RunsWhereItIsTold) {
    const TemporaryDirectory directory;
    Command command = Shell("pwd -P");
    command.directory = directory.path();
    EXPECT_EQ(RunCommand(command).out, std::filesystem::canonical(directory.path()).string() + "\n");
    command.directory = directory.path() / "missing";
    EXPECT_EQ(RunCommand(command).exitCode, 127);
}

TEST(RunCommand, WritesItsErrorsToAFileWhenTold) {
    const TemporaryDirectory directory;
    Command command = Shell("echo out; echo err >&2");
    command.errorFile = directory.path() / "errors";
    const Ended ended = RunCommand(command);
    EXPECT_EQ(ended.out, "out\n");
    EXPECT_EQ(ended.err, "");
    EXPECT_EQ(std::filesystem::file_size(directory.path() / "errors"), 4U);
}

TEST(RunCommand, LeavesNoDescriptorBehind) {
    const std::size_t before = Resources::Now().descriptors;
    RunCommand(Shell("exit 0"));
    EXPECT_EQ(Resources::Now().descriptors, before);
}

TEST(ChildProcess, IsKilledAndWaitedForWithItsOwner) {
    pid_t id = -1;
    {
        ChildProcess child = StartCommand(Endless());
        id = child.id();
        EXPECT_TRUE(child.Runs());
    }
    EXPECT_EQ(waitpid(id, nullptr, WNOHANG), -1) << "it is no child any more";
}

TEST(ChildProcess, WritesToADescriptorWhenTold) {
    Pipe pipe;
    Command command = Shell("echo announced");
    command.output = pipe.toWrite.get();
    ChildProcess child = StartCommand(command);
    pipe.toWrite.Close();
    std::array<char, 20> text{};
    EXPECT_EQ(read(pipe.toRead.get(), text.data(), text.size()), 10);
    EXPECT_STREQ(text.data(), "announced\n");
    EXPECT_EQ(child.Wait().exitCode, 0);
}

TEST(ChildProcess, EndsByTheSignalThatItIsSent) {
    ChildProcess child = StartCommand(Endless());
    EXPECT_EQ(child.End(SIGTERM).signal, SIGTERM);
    EXPECT_FALSE(child.Runs());
    EXPECT_EQ(child.id(), -1);
    EXPECT_EQ(child.End(SIGTERM).signal, 0) << "there is none to end";
}

TEST(ChildProcess, TellsThatItHasEndedByItself) {
    ChildProcess child = StartCommand(Shell("exit 0"));
    while (child.Runs()) {
    }
    EXPECT_EQ(child.Wait().exitCode, -1) << "it has been waited for";
}

TEST(ChildProcess, GoesToItsNewOwner) {
    ChildProcess first = StartCommand(Endless());
    const pid_t id = first.id();
    ChildProcess second(std::move(first));
    EXPECT_EQ(second.id(), id);
    ChildProcess third;
    third = std::move(second);
    EXPECT_TRUE(third.Runs());
}

TEST(Fork, RunsTheBodyInAnotherProcess) {
    const pid_t own = getpid();
    EXPECT_EQ(Fork([own] { _exit(getpid() == own ? 1 : 5); }).Wait().exitCode, 5);
    EXPECT_EQ(Fork([] {}).Wait().exitCode, 0);
}

TEST(RunForked, TellsWhatTheBodyWroteAndHowItEnded) {
    const Ended ended = RunForked([] {
        std::puts("out");
        std::fputs("err\n", stderr);
        std::exit(7);
    });
    EXPECT_EQ(ended.out, "out\n");
    EXPECT_EQ(ended.err, "err\n");
    EXPECT_EQ(ended.exitCode, 7);
    EXPECT_EQ(RunForked([] { std::raise(SIGKILL); }).signal, SIGKILL);
}

TEST(RunForked, ExitsAsAProgramDoes) {
    const Ended ended = RunForked([] { std::atexit([] { std::fputs("at exit\n", stderr); }); });
    EXPECT_EQ(ended.err, "at exit\n");
    EXPECT_EQ(ended.exitCode, 0);
}

TEST(RunForked, WritesOnlyOnceWhatItsCallerHadBuffered) {
    std::fputs("[buffered by the caller]\n", stdout);
    EXPECT_EQ(RunForked([] {}).out, "");
}

TEST(TestForked, FailsWithAFailedExpectation) {
    EXPECT_EQ(TestForked([] { EXPECT_EQ(1, 1); }).exitCode, 0);
    ::testing::internal::CaptureStdout();
    const Ended ended = TestForked([] { EXPECT_EQ(1, 2) << "shown to the caller"; });
    const std::string shown = ::testing::internal::GetCapturedStdout();
    EXPECT_EQ(ended.exitCode, 1);
    EXPECT_NE(shown.find("shown to the caller"), std::string::npos);
}

TEST(LinesOf, AreWithoutTheirEnds) {
    EXPECT_EQ(LinesOf(""), std::vector<std::string>{});
    EXPECT_EQ(LinesOf("a\n\nb"), (std::vector<std::string>{"a", "", "b"}));
    EXPECT_EQ(LinesOf("a\nb\n"), (std::vector<std::string>{"a", "b"}));
}

} // namespace httpclient::testing
