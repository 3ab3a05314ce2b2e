// SPDX-License-Identifier: Apache-2.0
#include "HostRun.h"

#include <array>
#include <cerrno>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace {

/// Reads until every writer has closed its end, and closes this one.
std::string ReadAll(int descriptor) {
    std::string text;
    std::array<char, 4096> block{};
    for (;;) {
        const ssize_t count = read(descriptor, block.data(), block.size());
        if (count > 0) {
            text.append(block.data(), static_cast<std::size_t>(count));
        } else if (count == 0 || errno != EINTR) {
            close(descriptor);
            return text;
        }
    }
}

} // namespace

HostEnd RunHost(const std::string& program, const std::vector<std::string>& arguments) {
    int ends[2] = {-1, -1};
    if (pipe2(ends, O_CLOEXEC) != 0) {
        return {};
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDERR_FILENO);
    std::vector<char*> pointers{const_cast<char*>(program.c_str())};
    for (const std::string& argument : arguments) {
        pointers.push_back(const_cast<char*>(argument.c_str()));
    }
    pointers.push_back(nullptr);
    pid_t host = 0;
    const int spawned = posix_spawn(&host, program.c_str(), &actions, nullptr, pointers.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    HostEnd end;
    end.standardError = ReadAll(ends[0]);
    if (spawned == 0) {
        waitpid(host, &end.status, 0);
    }
    return end;
}

void ExpectToEndWell(const std::string& program, const std::vector<std::string>& arguments) {
    const HostEnd end = RunHost(program, arguments);
    EXPECT_EQ(end.status, 0) << ::testing::PrintToString(arguments);
    EXPECT_EQ(end.standardError, "") << ::testing::PrintToString(arguments);
}
