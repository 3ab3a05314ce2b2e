// SPDX-License-Identifier: Apache-2.0
#include "SystemCalls.h"

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <stdexcept>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int SYSTEM_CALL_STOP = SIGTRAP | 0x80; // PTRACE_O_TRACESYSGOOD

std::string NameOf(std::uint64_t number) {
    // Those that requests make; what comes at a process's start drops out of the counts.
    static const std::map<std::uint64_t, const char*> names{
        {SYS_read, "read"},   {SYS_write, "write"},     {SYS_recvfrom, "recv"}, {SYS_recvmsg, "recvmsg"},
        {SYS_sendto, "send"}, {SYS_sendmsg, "sendmsg"}, {SYS_poll, "poll"},     {SYS_futex, "futex"}};
    const auto found = names.find(number);
    return found == names.end() ? "system call " + std::to_string(number) : found->second;
}

[[noreturn]] void Become(const std::vector<std::string>& command) {
    std::vector<char*> words;
    for (const std::string& word : command) {
        words.push_back(const_cast<char*>(word.c_str()));
    }
    words.push_back(nullptr);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const int null = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(null, STDOUT_FILENO);
    if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) == 0) {
        raise(SIGSTOP); // until its watcher is ready
        execv(words[0], words.data());
    }
    _exit(127);
}

/// @return the status of the child at its next stop or end.
int NextStatus(pid_t child) {
    int status = 0;
    while (waitpid(child, &status, 0) < 0) {
        if (errno != EINTR) {
            throw std::runtime_error("a watched program got lost");
        }
    }
    return status;
}

/// Starts the program; it stands still at its beginning.
pid_t StartWatched(const std::vector<std::string>& command) {
    const pid_t child = fork();
    if (child == 0) {
        Become(command);
    }
    if (child < 0 || !WIFSTOPPED(NextStatus(child))) {
        throw std::runtime_error("cannot watch " + command.front());
    }
    ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
    return child;
}

void CountOne(pid_t child, SystemCallsByName& calls) {
    __ptrace_syscall_info info{};
    if (ptrace(PTRACE_GET_SYSCALL_INFO, child, sizeof info, &info) > 0 &&
        info.op == PTRACE_SYSCALL_INFO_ENTRY) {
        ++calls[NameOf(info.entry.nr)];
    }
}

} // namespace

bool MayCountSystemCalls() {
    static const bool may = [] {
        try {
            return !CountSystemCalls({"/bin/true"}).empty();
        } catch (const std::runtime_error&) {
            return false;
        }
    }();
    return may;
}

SystemCallsByName CountSystemCalls(const std::vector<std::string>& command) {
    SystemCallsByName calls;
    const pid_t child = StartWatched(command);
    long signal = 0;
    for (;;) {
        ptrace(PTRACE_SYSCALL, child, nullptr, signal);
        const int status = NextStatus(child);
        if (!WIFSTOPPED(status)) {
            if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
                throw std::runtime_error("failed: " + command.front());
            }
            return calls;
        }
        signal = 0;
        if (WSTOPSIG(status) == SYSTEM_CALL_STOP) {
            CountOne(child, calls);
        } else if (WSTOPSIG(status) != SIGTRAP) {
            signal = WSTOPSIG(status);
        }
    }
}
