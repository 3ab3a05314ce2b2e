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

namespace httpclient::testing {

namespace {

constexpr int SYSTEM_CALL_STOP = SIGTRAP | 0x80; // PTRACE_O_TRACESYSGOOD

std::string NameOf(std::uint64_t number) {
    // Those that requests make, and what is near them.
    static const std::map<std::uint64_t, const char*> names{
        {SYS_read, "read"},
        {SYS_write, "write"},
        {SYS_close, "close"},
        {SYS_openat, "open"},
        {SYS_newfstatat, "stat"},
        {SYS_fcntl, "fcntl"},
        {SYS_socket, "socket"},
        {SYS_connect, "connect"},
        {SYS_bind, "bind"},
        {SYS_shutdown, "shutdown"},
        {SYS_getsockopt, "getsockopt"},
        {SYS_setsockopt, "setsockopt"},
        {SYS_getsockname, "getsockname"},
        {SYS_getpeername, "getpeername"},
        {SYS_recvfrom, "recv"},
        {SYS_recvmsg, "recvmsg"},
        {SYS_sendto, "send"},
        {SYS_sendmsg, "sendmsg"},
        {SYS_poll, "poll"},
        {SYS_ppoll, "ppoll"},
        {SYS_epoll_wait, "epoll_wait"},
        {SYS_epoll_pwait, "epoll_wait"},
        {SYS_epoll_ctl, "epoll_ctl"},
        {SYS_epoll_create1, "epoll_create"},
        {SYS_eventfd2, "eventfd"},
        {SYS_timerfd_create, "timerfd_create"},
        {SYS_timerfd_settime, "timerfd_settime"},
        {SYS_futex, "futex"},
        {SYS_clone, "clone"},
        {SYS_clone3, "clone"},
        {SYS_rt_sigprocmask, "sigprocmask"},
        {SYS_rt_sigaction, "sigaction"},
        {SYS_getrandom, "getrandom"},
        {SYS_getpid, "getpid"},
        {SYS_getppid, "getppid"},
        {SYS_gettid, "gettid"},
        {SYS_clock_nanosleep, "nanosleep"},
        {SYS_clock_gettime, "clock_gettime"},
        {SYS_brk, "brk"},
        {SYS_mmap, "mmap"},
        {SYS_munmap, "munmap"},
        {SYS_mprotect, "mprotect"},
        {SYS_mremap, "mremap"},
        {SYS_madvise, "madvise"},
    };
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

/// Watches a program from its beginning to its end.
class Watch {
public:
    Watch(const std::vector<std::string>& command, bool allThreads)
        : m_command(command.front()), m_program(fork()) {
        if (m_program == 0) {
            Become(command);
        }
        int status = 0;
        if (m_program < 0 || Next(m_program, status) != m_program || !WIFSTOPPED(status)) {
            throw std::runtime_error("cannot watch " + m_command);
        }
        const long threads = allThreads ? PTRACE_O_TRACECLONE : 0;
        ptrace(PTRACE_SETOPTIONS, m_program, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL | threads);
        m_threads[m_program] = 0;
        ptrace(PTRACE_SYSCALL, m_program, nullptr, 0);
    }

    std::vector<SystemCall> ToTheEnd() {
        for (;;) {
            int status = 0;
            const pid_t thread = Next(-1, status);
            if (WIFSTOPPED(status)) {
                ptrace(PTRACE_SYSCALL, thread, nullptr, SignalAfter(thread, status));
            } else if (thread == m_program) {
                if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
                    throw std::runtime_error("failed: " + m_command);
                }
                return std::move(m_calls);
            }
        }
    }

private:
    /// @return who stopped or ended.
    static pid_t Next(pid_t whom, int& status) {
        for (;;) {
            const pid_t thread = waitpid(whom, &status, __WALL);
            if (thread >= 0) {
                return thread;
            }
            if (errno != EINTR) {
                throw std::runtime_error("a watched program got lost");
            }
        }
    }

    /// Looks at a thread that stands still. @return the signal that it goes on with.
    long SignalAfter(pid_t thread, int status) {
        const bool isNew = m_threads.emplace(thread, static_cast<int>(m_threads.size())).second;
        const int signal = WSTOPSIG(status);
        if (signal == SYSTEM_CALL_STOP) {
            Note(thread);
            return 0;
        }
        return signal == SIGTRAP || (isNew && signal == SIGSTOP) ? 0 : signal;
    }

    void Note(pid_t thread) {
        __ptrace_syscall_info info{};
        if (ptrace(PTRACE_GET_SYSCALL_INFO, thread, sizeof info, &info) > 0 &&
            info.op == PTRACE_SYSCALL_INFO_ENTRY) {
            m_calls.push_back({m_threads.at(thread), NameOf(info.entry.nr)});
        }
    }

    const std::string m_command;
    const pid_t m_program;
    std::map<pid_t, int> m_threads;
    std::vector<SystemCall> m_calls;
};

} // namespace

bool MayWatchSystemCalls() {
    static const bool may = [] {
        try {
            return !WatchSystemCalls({"/bin/true"}, false).empty();
        } catch (const std::runtime_error&) {
            return false;
        }
    }();
    return may;
}

std::vector<SystemCall> WatchSystemCalls(const std::vector<std::string>& command, bool allThreads) {
    return Watch(command, allThreads).ToTheEnd();
}

SystemCallsByName CountSystemCalls(const std::vector<std::string>& command, bool allThreads) {
    SystemCallsByName calls;
    for (const SystemCall& call : WatchSystemCalls(command, allThreads)) {
        ++calls[call.name];
    }
    return calls;
}

} // namespace httpclient::testing
