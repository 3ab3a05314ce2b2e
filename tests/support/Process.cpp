// SPDX-License-Identifier: Apache-2.0
#include "tests/support/Process.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string_view>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/support/IgnoredSignal.h"
#include "tests/support/Pipe.h"

namespace httpclient::testing {

namespace {

constexpr unsigned int LONGEST_RUN = 30; // seconds of a forked copy
constexpr int NOT_RUN = 127;             // as shells have it

/// A command as execvpe() takes it. Made before the fork: the child of a process with threads may not allocate.
class Launch {
public:
    explicit Launch(const Command& command)
        : m_command(command), m_words(command.words), m_argv(PointersTo(m_words)) {
        if (command.environment) {
            for (const auto& [name, value] : *command.environment) {
                m_variables.emplace_back(name).append(1, '=').append(value);
            }
            m_envp = PointersTo(m_variables);
        }
    }
    Launch(const Launch&) = delete;
    Launch& operator=(const Launch&) = delete;

    [[noreturn]] void Exec() {
        if (m_command.output >= 0 && dup2(m_command.output, STDOUT_FILENO) < 0) {
            _exit(NOT_RUN);
        }
        const std::string& file = m_command.errorFile;
        const int error =
            file.empty() ? STDERR_FILENO : open(file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
        if (error < 0 || (error != STDERR_FILENO && dup2(error, STDERR_FILENO) < 0) ||
            (!m_command.directory.empty() && chdir(m_command.directory.c_str()) != 0)) {
            _exit(NOT_RUN);
        }
        execvpe(m_argv[0], m_argv.data(), m_command.environment ? m_envp.data() : environ);
        _exit(NOT_RUN);
    }

private:
    static std::vector<char*> PointersTo(std::vector<std::string>& texts) {
        std::vector<char*> pointers;
        pointers.reserve(texts.size() + 1);
        for (std::string& text : texts) {
            pointers.push_back(text.data());
        }
        pointers.push_back(nullptr);
        return pointers;
    }

    const Command& m_command;
    std::vector<std::string> m_words;
    std::vector<std::string> m_variables;
    std::vector<char*> m_argv;
    std::vector<char*> m_envp;
};

template <class Body> pid_t ForkInto(const Body& body) {
    static_cast<void>(std::fflush(nullptr)); // or both processes write what is still buffered
    const pid_t child = fork();
    if (child < 0) {
        throw std::system_error(errno, std::generic_category(), "fork");
    }
    if (child == 0) {
        body();
        _exit(EXIT_SUCCESS);
    }
    return child;
}

/// The three streams of a child whose output is captured.
class Streams {
public:
    /// In the child: they become its own.
    void Take() {
        dup2(m_in.toRead.get(), STDIN_FILENO);
        dup2(m_out.toWrite.get(), STDOUT_FILENO);
        dup2(m_err.toWrite.get(), STDERR_FILENO);
        for (Pipe* pipe : {&m_in, &m_out, &m_err}) {
            pipe->toRead.Close();
            pipe->toWrite.Close();
        }
    }

    /// Feeds the child, and collects what it writes until it writes no more.
    void Attend(std::string_view input, Ended& ended) {
        const IgnoredSignal brokenPipe(SIGPIPE); // a program that does not read must not end the test
        m_in.toRead.Close();
        m_out.toWrite.Close();
        m_err.toWrite.Close();
        fcntl(m_in.toWrite.get(), F_SETFL, O_NONBLOCK);
        while (m_out.toRead || m_err.toRead) {
            if (input.empty()) {
                m_in.toWrite.Close();
            }
            std::array<pollfd, 3> ready{{{m_in.toWrite.get(), POLLOUT, 0},
                                         {m_out.toRead.get(), POLLIN, 0},
                                         {m_err.toRead.get(), POLLIN, 0}}};
            if (poll(ready.data(), ready.size(), -1) < 0) {
                continue;
            }
            if (ready[0].revents != 0) {
                Feed(input);
            }
            if (ready[1].revents != 0) {
                Drain(m_out.toRead, ended.out);
            }
            if (ready[2].revents != 0) {
                Drain(m_err.toRead, ended.err);
            }
        }
    }

private:
    /// The child may end before it has read everything.
    void Feed(std::string_view& input) {
        const ssize_t taken = write(m_in.toWrite.get(), input.data(), input.size());
        if (taken > 0) {
            input.remove_prefix(static_cast<std::size_t>(taken));
        } else if (errno != EAGAIN && errno != EINTR) {
            input = {};
        }
    }

    /// Appends what has come; closes the end when nothing more will.
    static void Drain(Descriptor& from, std::string& text) {
        std::array<char, 4096> piece{};
        const ssize_t got = read(from.get(), piece.data(), piece.size());
        if (got > 0) {
            text.append(piece.data(), static_cast<std::size_t>(got));
        } else if (got == 0 || errno != EINTR) {
            from.Close();
        }
    }

    Pipe m_in;
    Pipe m_out;
    Pipe m_err;
};

template <class Body> Ended Capture(std::string_view input, const Body& body) {
    Streams streams;
    ChildProcess child(ForkInto([&] {
        streams.Take();
        body();
    }));
    Ended wrote;
    streams.Attend(input, wrote);
    Ended ended = child.Wait();
    ended.out = std::move(wrote.out);
    ended.err = std::move(wrote.err);
    return ended;
}

} // namespace

ChildProcess::ChildProcess(ChildProcess&& other) noexcept : m_process(std::exchange(other.m_process, -1)) {}

ChildProcess& ChildProcess::operator=(ChildProcess&& other) noexcept {
    std::swap(m_process, other.m_process);
    return *this;
}

bool ChildProcess::Runs() {
    if (m_process > 0 && waitpid(m_process, nullptr, WNOHANG) != 0) {
        m_process = -1;
    }
    return m_process > 0;
}

Ended ChildProcess::Wait() {
    Ended ended;
    if (m_process <= 0) {
        return ended;
    }
    int status = 0;
    while (waitpid(m_process, &status, 0) < 0 && errno == EINTR) {
    }
    m_process = -1;
    ended.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    ended.signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    return ended;
}

Ended ChildProcess::End(int signal) {
    if (m_process > 0) {
        kill(m_process, signal);
    }
    return Wait();
}

ChildProcess StartCommand(const Command& command) {
    Launch launch(command);
    return ChildProcess(ForkInto([&launch] {
        prctl(PR_SET_PDEATHSIG, SIGTERM); // however the test ends
        launch.Exec();
    }));
}

Ended RunCommand(const Command& command) {
    Launch launch(command);
    return Capture(command.input, [&launch] { launch.Exec(); });
}

void BecomeCommand(const Command& command) {
    Launch(command).Exec();
}

ChildProcess Fork(const std::function<void()>& body) {
    return ChildProcess(ForkInto([&body] {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        body();
    }));
}

Ended RunForked(const std::function<void()>& body) {
    return Capture("", [&body] {
        alarm(LONGEST_RUN);
        body();
        std::exit(EXIT_SUCCESS);
    });
}

char StateOfProcess(pid_t process) {
    std::ifstream stat("/proc/" + std::to_string(process) + "/stat");
    std::string number;
    std::string name;
    char state = 0;
    stat >> number >> name >> state;
    return state;
}

std::vector<std::string> LinesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

} // namespace httpclient::testing
