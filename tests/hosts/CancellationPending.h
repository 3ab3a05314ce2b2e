// SPDX-License-Identifier: Apache-2.0
/// @file
/// For hosts that tests run: what a thread that is to end may not be thrown out of.
#pragma once

#include <cstdlib>

#include <pthread.h>
#include <unistd.h>

/// To be called before any other handler of exit() is registered, and so before the library is used: a cancellation is held
/// off when the handlers are done. Then a library that counts what the tests reach writes its counts, with calls that a
/// cancellation ends.
inline void HoldCancellationOffAfterHandlers() {
    std::atexit([] { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr); });
}

/// How a host ends whose thread has been cancelled in the wrong place.
constexpr int CANCELLED_STATUS = 5;

/// Runs something with a cancellation pending, which is held off afterwards.
template <class Work> void RunWithCancellationPending(const Work& work) {
    struct End {
        bool passed = false;
        ~End() {
            if (!passed) {
                _exit(CANCELLED_STATUS);
            }
        }
    } end;
    pthread_cancel(pthread_self());
    work();
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
    end.passed = true;
}
