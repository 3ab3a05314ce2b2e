// SPDX-License-Identifier: Apache-2.0
/// @file
/// For hosts that tests run: a fault of any thread is seen.
#pragma once

#include <csignal>

#include <string.h>
#include <unistd.h>

/// How a host ends whose thread has faulted, were its main thread to end with 0 a moment later.
constexpr int FAULT_STATUS = 77;

/// Has a fault of any thread end the host at once, with that status. Sanitizers leave these handlers alone.
inline void EndOnFaults() {
    struct sigaction action {};
    action.sa_handler = [](int signal) {
        constexpr char TEXT[] = "a thread has faulted\n";
        static_cast<void>(!write(STDERR_FILENO, TEXT, sizeof TEXT - 1));
        static_cast<void>(signal);
        _exit(FAULT_STATUS);
    };
    for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT}) {
        sigaction(fault, &action, nullptr);
    }
}
