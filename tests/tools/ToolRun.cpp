// SPDX-License-Identifier: Apache-2.0
#include "ToolRun.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <stdexcept>

#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace {

/// Both ends of a pipe; they close themselves.
class Pipe {
public:
    Pipe() {
        if (pipe(m_ends.data()) != 0) {
            throw std::runtime_error("no pipe");
        }
    }
    ~Pipe() {
        Close(0);
        Close(1);
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    int End(std::size_t end) const { return m_ends[end]; }
    void Close(std::size_t end) {
        if (m_ends[end] >= 0) {
            close(m_ends[end]);
            m_ends[end] = -1;
        }
    }

private:
    std::array<int, 2> m_ends{};
};

/// What the dynamic loader and the sanitizers want to know stays; everything else is the test's to set.
bool IsKept(const std::string& variable) {
    for (const char* prefix : {"LD_", "ASAN_", "LSAN_", "TSAN_", "UBSAN_"}) {
        if (variable.compare(0, std::char_traits<char>::length(prefix), prefix) == 0) {
            return true;
        }
    }
    return false;
}

std::vector<std::string> EnvironmentOf(const Variables& variables) {
    std::vector<std::string> environment;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        if (IsKept(*entry)) {
            environment.emplace_back(*entry);
        }
    }
    for (const auto& [name, value] : variables) {
        environment.push_back(name + '=' + value);
    }
    return environment;
}

std::vector<char*> Pointers(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (std::string& text : texts) {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

/// Appends what has come; closes the end when nothing more will.
void Drain(Pipe& from, std::string& text) {
    std::array<char, 4096> buffer{};
    const ssize_t got = read(from.End(0), buffer.data(), buffer.size());
    if (got > 0) {
        text.append(buffer.data(), static_cast<std::size_t>(got));
    } else if (got == 0 || errno != EINTR) {
        from.Close(0);
    }
}

void ReadBoth(Pipe& out, Pipe& err, ToolResult& result) {
    while (out.End(0) >= 0 || err.End(0) >= 0) {
        std::array<pollfd, 2> ready{{{out.End(0), POLLIN, 0}, {err.End(0), POLLIN, 0}}};
        if (poll(ready.data(), ready.size(), -1) < 0) {
            continue;
        }
        if (ready[0].revents != 0) {
            Drain(out, result.out);
        }
        if (ready[1].revents != 0) {
            Drain(err, result.err);
        }
    }
}

/// The tool may end before it has read everything.
void WriteInput(Pipe& in, const std::string& input) {
    const auto former = std::signal(SIGPIPE, SIG_IGN);
    const ssize_t ignored = write(in.End(1), input.data(), input.size());
    static_cast<void>(ignored);
    std::signal(SIGPIPE, former);
    in.Close(1);
}

} // namespace

void BecomeTool(const std::vector<std::string>& arguments, const Variables& variables) {
    std::vector<std::string> command{OVEX_TLS_PROGRAM};
    command.insert(command.end(), arguments.begin(), arguments.end());
    std::vector<std::string> environment = EnvironmentOf(variables);
    execve(OVEX_TLS_PROGRAM, Pointers(command).data(), Pointers(environment).data());
    _exit(127);
}

int WaitForEnd(pid_t child) {
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

ToolResult RunTool(const std::vector<std::string>& arguments, const Variables& variables,
                   const std::string& input, const std::string& directory) {
    Pipe in;
    Pipe out;
    Pipe err;
    const pid_t child = fork();
    if (child == 0) {
        dup2(in.End(0), STDIN_FILENO);
        dup2(out.End(1), STDOUT_FILENO);
        dup2(err.End(1), STDERR_FILENO);
        for (Pipe* pipe : {&in, &out, &err}) {
            pipe->Close(0);
            pipe->Close(1);
        }
        if (!directory.empty() && chdir(directory.c_str()) != 0) {
            _exit(126);
        }
        BecomeTool(arguments, variables);
    }
    in.Close(0);
    out.Close(1);
    err.Close(1);
    WriteInput(in, input);
    ToolResult result;
    ReadBoth(out, err, result);
    result.exitCode = WaitForEnd(child);
    return result;
}
