// SPDX-License-Identifier: Apache-2.0
// The pool's thread takes none of the host's signals.
#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

#include <unistd.h>

#include <httpclient/testing/RecordingTrace.h>

#include "PoolTest.h"

using httpclient::testing::TraceRecorder;

namespace {

/// The value of a line of a thread's status, as in "SigBlk:	0000000000000000".
std::uint64_t MaskOf(int thread, const std::string& name) {
    std::ifstream status("/proc/self/task/" + std::to_string(thread) + "/status");
    for (std::string line; std::getline(status, line);) {
        if (line.rfind(name + ":", 0) == 0) {
            return std::stoull(line.substr(name.size() + 1), nullptr, 16);
        }
    }
    ADD_FAILURE() << "no " << name << " of thread " << thread;
    return 0;
}

std::uint64_t Bit(int signal) {
    return std::uint64_t{1} << (signal - 1);
}

/// The thread that a call starts.
template <class Call> int ThreadStartedBy(const Call& call) {
    std::vector<int> before = ThreadIds();
    call();
    for (const int id : ThreadIds()) {
        if (std::find(before.begin(), before.end(), id) == before.end()) {
            return id;
        }
    }
    ADD_FAILURE() << "no thread was started";
    return 0;
}

/// Standard error, kept in a file while this lives.
class KeptStandardError {
public:
    KeptStandardError() : m_file(std::tmpfile()), m_former(dup(STDERR_FILENO)) {
        dup2(fileno(m_file), STDERR_FILENO);
    }
    ~KeptStandardError() {
        dup2(m_former, STDERR_FILENO);
        close(m_former);
        std::fclose(m_file);
    }
    KeptStandardError(const KeptStandardError&) = delete;
    KeptStandardError& operator=(const KeptStandardError&) = delete;

    off_t Written() const { return lseek(fileno(m_file), 0, SEEK_END); }

private:
    std::FILE* m_file;
    int m_former;
};

std::atomic<int> g_taken{0};
std::atomic<int> g_takenElsewhere{0};

void Take(int /*signal*/) {
    ++(getpid() == gettid() ? g_taken : g_takenElsewhere);
}

class PoolSignals : public WithoutPool {};

TEST_F(PoolSignals, AreBlockedOnItsThreadButForFaults) {
    const int thread = ThreadStartedBy([] { CHttpConnectionMgr::Instance(); });
    // Until its body runs, the C library blocks everything.
    ASSERT_TRUE(TraceRecorder::Instance().WaitFor(PROGRESS, "CHttpConnectionMgr::svc in "));
    std::uint64_t expected = ~std::uint64_t{0};
    for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS, SIGABRT}) {
        expected &= ~Bit(fault);
    }
    for (const int unblockable : {SIGKILL, SIGSTOP, 32, 33}) { // the kernel's, and two of the C library's own
        expected &= ~Bit(unblockable);
    }
    EXPECT_EQ(MaskOf(thread, "SigBlk"), expected);
}

TEST_F(PoolSignals, AreAsBeforeForTheThreadThatMadeThePool) {
    sigset_t some;
    sigemptyset(&some);
    sigaddset(&some, SIGUSR2);
    sigset_t former;
    pthread_sigmask(SIG_BLOCK, &some, &former);
    const std::uint64_t before = MaskOf(gettid(), "SigBlk");
    CHttpConnectionMgr::Instance();
    EXPECT_EQ(MaskOf(gettid(), "SigBlk"), before);
    EXPECT_NE(before & Bit(SIGUSR2), 0u);
    pthread_sigmask(SIG_SETMASK, &former, nullptr);
}

TEST_F(PoolSignals, SentToTheProcessNeverReachThePoolsThreadNorStandardError) {
    struct sigaction action {};
    struct sigaction formerAction {};
    action.sa_handler = Take;
    sigaction(SIGUSR1, &action, &formerAction);
    g_taken = g_takenElsewhere = 0;
    CHttpConnectionMgr* pool = CHttpConnectionMgr::Instance();
    pool->SetRlsTime(0);
    ASSERT_TRUE(m_reactor.Settle());

    // Blocked on this thread, too, a signal would go to the pool's if that took any.
    sigset_t usr1;
    sigset_t formerMask;
    sigemptyset(&usr1);
    sigaddset(&usr1, SIGUSR1);
    pthread_sigmask(SIG_BLOCK, &usr1, &formerMask);
    off_t written = -1;
    {
        const KeptStandardError kept;
        for (int i = 0; i < 50; ++i) {
            kill(getpid(), SIGUSR1);
            EXPECT_TRUE(m_reactor.Settle());
        }
        written = kept.Written();
    }
    EXPECT_EQ(written, 0);
    EXPECT_EQ(g_taken + g_takenElsewhere, 0);
    pthread_sigmask(SIG_SETMASK, &formerMask, nullptr);
    EXPECT_EQ(g_taken, 1) << "the pending one";
    EXPECT_EQ(g_takenElsewhere, 0);

    for (int i = 0; i < 200; ++i) {
        kill(getpid(), SIGUSR1);
    }
    EXPECT_TRUE(m_reactor.Settle()) << "the thread still runs";
    EXPECT_EQ(g_takenElsewhere, 0);
    sigaction(SIGUSR1, &formerAction, nullptr);
}

} // namespace
