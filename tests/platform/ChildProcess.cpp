// SPDX-License-Identifier: Apache-2.0
#include "ChildProcess.h"

#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <stdexcept>

#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace {

[[noreturn]] void RunBody(int standardError, const Environment& environment,
                          const std::function<void()>& body) {
    dup2(standardError, STDERR_FILENO);
    close(standardError);
    unsetenv("OVEX_TRACE_LEVEL");
    unsetenv("OVEX_TRACE_FILE");
    for (const auto& [name, value] : environment) {
        setenv(name.c_str(), value.c_str(), 1);
    }
    body();
    std::exit(::testing::Test::HasFailure() ? EXIT_FAILURE : EXIT_SUCCESS);
}

std::string ReadToEnd(int descriptor) {
    std::string text;
    char part[4096];
    ssize_t count = 0;
    while ((count = read(descriptor, part, sizeof part)) > 0) {
        text.append(part, static_cast<std::size_t>(count));
    }
    return text;
}

} // namespace

ChildResult RunInChild(const Environment& environment, const std::function<void()>& body) {
    int ends[2];
    if (pipe(ends) != 0) {
        throw std::runtime_error("no pipe");
    }
    (void)std::fflush(nullptr); // or both processes write what is still buffered
    const pid_t child = fork();
    if (child < 0) {
        throw std::runtime_error("no child process");
    }
    if (child == 0) {
        close(ends[0]);
        RunBody(ends[1], environment, body);
    }
    close(ends[1]);
    ChildResult result;
    result.standardError = ReadToEnd(ends[0]);
    close(ends[0]);
    int status = 0;
    waitpid(child, &status, 0);
    result.succeeded = WIFEXITED(status) && WEXITSTATUS(status) == EXIT_SUCCESS;
    return result;
}

std::vector<std::string> ChildResult::lines() const {
    return SplitLines(standardError);
}

std::vector<std::string> SplitLines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}
