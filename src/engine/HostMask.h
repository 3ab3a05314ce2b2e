// SPDX-License-Identifier: Apache-2.0
/// @file
/// The signals of the host's code on a thread of ours.
#pragma once

#include <csignal>

namespace httpclient::engine {

/// While it lives, this thread has a signal mask of the host's.
class HostMask {
public:
    explicit HostMask(const sigset_t& mask) { pthread_sigmask(SIG_SETMASK, &mask, &m_previous); }
    ~HostMask() { pthread_sigmask(SIG_SETMASK, &m_previous, nullptr); }
    HostMask(const HostMask&) = delete;
    HostMask& operator=(const HostMask&) = delete;

private:
    sigset_t m_previous{};
};

} // namespace httpclient::engine
