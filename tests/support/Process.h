// SPDX-License-Identifier: Apache-2.0
/// @file
/// Child processes: programs and forked test code, with what they wrote and how they ended.
#pragma once

#include <csignal>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

namespace httpclient::testing {

using Variables = std::map<std::string, std::string>;

/// How a process ended, and what it wrote before.
struct Ended {
    int exitCode = -1; ///< -1 when a signal ended it.
    int signal = 0;    ///< The signal that ended it; 0 when it ended by itself.
    std::string out;   ///< Its standard output.
    std::string err;   ///< Its standard error.
};

/// A program, and how it is to run.
struct Command {
    std::vector<std::string>
        words; ///< The program (looked for in PATH when it has no slash), then its arguments.
    std::optional<Variables> environment; ///< All its variables; that of this process unless given.
    std::string input;                    ///< Its standard input, where output is captured.
    std::string directory;                ///< Where it runs; "" for the current directory.
    int output = -1;                      ///< The descriptor that its standard output goes to; -1 for none.
    std::string errorFile; ///< Where its standard error goes instead of to the caller; "" for nowhere else.
};

/// The owner of a child process, which is killed and waited for when its owner ends. Movable.
///
/// @par Thread Safety
/// None.
class ChildProcess {
public:
    ChildProcess() = default;
    explicit ChildProcess(pid_t process) : m_process(process) {}
    ~ChildProcess() { End(SIGKILL); }
    ChildProcess(ChildProcess&& other) noexcept;
    ChildProcess& operator=(ChildProcess&& other) noexcept;

    /// @return its number; -1 once it has been waited for.
    pid_t id() const { return m_process; }
    /// @return whether it still runs; does not wait.
    bool Runs();
    /// Waits for its end. @return how it ended, without what it wrote; exit code -1 and signal 0 when there is none.
    Ended Wait();
    /// Sends it a signal that ends it, and waits.
    Ended End(int signal);

private:
    pid_t m_process = -1;
};

/// Starts a program, which ends when the thread that started it does. Its streams are those of this process unless the command names others.
/// @throw std::system_error when there is no process for it. A program that cannot be run exits with 127.
ChildProcess StartCommand(const Command& command);

/// Runs a program to its end and captures what it writes.
/// @throw std::system_error when there is no process or pipe for it. A program that cannot be run exits with 127.
Ended RunCommand(const Command& command);

/// @return the state of a process as /proc tells it: 'S' when it sleeps, 'T' when it is stopped; NUL when there is none.
char StateOfProcess(pid_t process);

/// In a new child: becomes a program, with the streams as they are. Never comes back.
[[noreturn]] void BecomeCommand(const Command& command);

/// Starts a forked copy of this process, which runs the body and exits with 0 as _exit() does, unless the body ends it
/// otherwise. It ends when the thread that started it does.
/// @throw std::system_error when there is no process for it.
ChildProcess Fork(const std::function<void()>& body);

/// Runs the body in a forked copy of this process, to its end, and captures what it writes. The copy exits with 0 as
/// exit() does, with all that happens then, unless the body ends it otherwise. A copy that hangs is ended by SIGALRM
/// after half a minute. For expectations within the body see Forked.h.
/// @throw std::system_error when there is no process or pipe for it.
Ended RunForked(const std::function<void()>& body);

/// @return the lines of a text, without their ends.
std::vector<std::string> LinesOf(const std::string& text);

} // namespace httpclient::testing
