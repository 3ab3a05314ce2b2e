// SPDX-License-Identifier: Apache-2.0
/// @file
/// Threads that the process's signals do not reach.
#pragma once

#include <csignal>
#include <thread>
#include <utility>

namespace httpclient::testing {

/// Blocks every signal on this thread while it lives; threads started meanwhile keep them blocked. On them,
/// writing to a closed connection is an error and never a SIGPIPE.
class SignalsBlocked {
public:
    SignalsBlocked() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &m_former);
    }
    ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &m_former, nullptr); }
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;

private:
    sigset_t m_former{};
};

/// @return a new thread that no signal of the process reaches.
template <class Body> std::thread StartQuietThread(Body body) {
    const SignalsBlocked blocked;
    return std::thread(std::move(body));
}

} // namespace httpclient::testing
