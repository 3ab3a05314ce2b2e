// SPDX-License-Identifier: Apache-2.0
/// @file
/// For hosts that tests run: which of their threads wait for a lock.
#pragma once

#include <chrono>
#include <fstream>
#include <string>
#include <thread>

#include <sys/syscall.h>
#include <unistd.h>

inline void PauseShortly() {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

/// @return whether a thread has been in one wait for a lock or a condition for a while.
inline bool StaysInAWait(pid_t thread) {
    const std::string place = "/proc/self/task/" + std::to_string(thread) + "/syscall";
    std::string first;
    for (int looks = 0; looks < 100; ++looks, PauseShortly()) {
        std::string call;
        std::getline(std::ifstream(place) >> std::ws, call);
        if (call.rfind(std::to_string(SYS_futex) + ' ', 0) != 0 || (looks > 0 && call != first)) {
            return false;
        }
        first = call;
    }
    return true;
}
