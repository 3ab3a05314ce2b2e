// SPDX-License-Identifier: Apache-2.0
#include "support/ExitGate.h"

#include <cstdlib>
#include <mutex>

#include <pthread.h>

namespace {

/// Held for reading by each step, for writing by exit(), which never gives it back.
pthread_rwlock_t g_gate = PTHREAD_RWLOCK_WRITER_NONRECURSIVE_INITIALIZER_NP;

void Close() {
    pthread_rwlock_wrlock(&g_gate);
}

/// A forked child has none of the threads that may have been amid a step.
void Renew() {
    g_gate = PTHREAD_RWLOCK_WRITER_NONRECURSIVE_INITIALIZER_NP;
}

} // namespace

void ExitGate::Arm() {
    static std::once_flag once;
    std::call_once(once, [] {
        pthread_atfork(nullptr, nullptr, &Renew);
        static_cast<void>(std::atexit(&Close)); // where it fails, exit() is as it would be without the gate
    });
}

ExitGate::Pass::Pass() {
    pthread_rwlock_rdlock(&g_gate);
}

ExitGate::Pass::~Pass() {
    pthread_rwlock_unlock(&g_gate);
}

ExitGate::Try::Try() : m_bPassed(pthread_rwlock_tryrdlock(&g_gate) == 0) {}

ExitGate::Try::~Try() {
    if (m_bPassed) {
        pthread_rwlock_unlock(&g_gate);
    }
}
