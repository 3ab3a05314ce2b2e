// SPDX-License-Identifier: Apache-2.0
#include "Terminal.h"

#include <array>
#include <chrono>
#include <csignal>
#include <stdexcept>

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <termios.h>
#include <unistd.h>
#include <utmp.h>

using namespace httpclient::testing;

namespace {

using Clock = std::chrono::steady_clock;
constexpr std::chrono::seconds PATIENCE{20};

bool Echoes(int terminal) {
    termios settings{};
    return tcgetattr(terminal, &settings) == 0 && (settings.c_lflag & static_cast<tcflag_t>(ECHO)) != 0;
}

/// Appends what the terminal shows. @return false when the tool has left the terminal.
bool Watch(int terminal, std::string& screen, int milliseconds) {
    pollfd ready{terminal, POLLIN, 0};
    if (poll(&ready, 1, milliseconds) <= 0) {
        return true;
    }
    std::array<char, 1024> buffer{};
    const ssize_t got = read(terminal, buffer.data(), buffer.size());
    if (got > 0) {
        screen.append(buffer.data(), static_cast<std::size_t>(got));
    }
    return got > 0; // a terminal that everybody has left answers with an error
}

/// Waits until the prompt is shown behind `from`, echo is off and the tool waits: the prompt comes a moment earlier, and a
/// tool that is interrupted on its way to its wait would go on and wait for ever.
bool AwaitHiddenPrompt(int terminal, pid_t tool, const std::string& prompt, std::size_t from,
                       std::string& screen) {
    const auto deadline = Clock::now() + PATIENCE;
    while (Clock::now() < deadline) {
        if (screen.find(prompt, from) != std::string::npos && !Echoes(terminal) &&
            StateOfProcess(tool) == 'S') {
            return true;
        }
        if (!Watch(terminal, screen, 1)) {
            return false;
        }
    }
    return false;
}

/// The test's own hold of the terminal, so that it outlives the tool and can be asked whether it echoes.
class HeldTerminal {
public:
    HeldTerminal() {
        if (openpty(&m_terminal, &m_line, nullptr, nullptr, nullptr) != 0) {
            throw std::runtime_error("no terminal");
        }
        fcntl(m_terminal, F_SETFD, FD_CLOEXEC);
    }
    ~HeldTerminal() {
        close(m_line);
        close(m_terminal);
    }
    HeldTerminal(const HeldTerminal&) = delete;
    HeldTerminal& operator=(const HeldTerminal&) = delete;
    int Terminal() const { return m_terminal; }
    int Line() const { return m_line; }

private:
    int m_terminal = -1;
    int m_line = -1;
};

void TypeAll(int terminal, pid_t tool, const std::vector<Typed>& typed, TerminalResult& result) {
    std::size_t from = 0;
    for (const Typed& step : typed) {
        if (!AwaitHiddenPrompt(terminal, tool, step.prompt, from, result.screen)) {
            return;
        }
        ++result.hiddenPrompts;
        from = result.screen.size();
        if (write(terminal, step.text.data(), step.text.size()) < 0) {
            return;
        }
    }
}

} // namespace

TerminalResult RunOnTerminal(const std::vector<std::string>& arguments, const Variables& variables,
                             const std::vector<Typed>& typed) {
    const HeldTerminal held;
    const Command tool = ToolCommand(arguments, variables);
    ChildProcess child = Fork([&] {
        if (login_tty(held.Line()) == 0) { // it becomes the controlling terminal and all three streams
            BecomeCommand(tool);
        }
        _exit(126);
    });
    TerminalResult result;
    TypeAll(held.Terminal(), child.id(), typed, result);
    if (result.hiddenPrompts != static_cast<int>(typed.size())) {
        child.End(SIGKILL); // it waits for what will not be typed
    }
    result.exitCode = child.Wait().exitCode;
    std::size_t shown = 0;
    do { // what it showed last is still in the line
        shown = result.screen.size();
        Watch(held.Terminal(), result.screen, 0);
    } while (result.screen.size() != shown);
    result.echoAtEnd = Echoes(held.Terminal());
    return result;
}
