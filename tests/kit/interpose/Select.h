// SPDX-License-Identifier: Apache-2.0
/// @file
/// Holds select(): link httpclient_interpose_select.
#pragma once

#include <cstddef>
#include <thread>
#include <vector>

#include <sys/time.h>

namespace httpclient::testing {

/// While it lives, select() is recorded and does what it is told, in the whole process. At first it records
/// and waits as usual. One at a time. Safe from any thread.
class HeldSelect {
public:
    struct Call {
        int nfds = 0;
        bool hasTimeout = false;
        timeval timeout{};
        std::thread::id thread;
    };

    HeldSelect();
    ~HeldSelect();
    HeldSelect(const HeldSelect&) = delete;
    HeldSelect& operator=(const HeldSelect&) = delete;

    /// From now on each call without descriptors to watch (nfds 0) waits for its time-out divided by @p
    /// divisor, and then answers 0 as after the whole of it. A divisor of 0 does not wait at all.
    void Divide(unsigned int divisor);
    /// The @p n-th call from now on (counted from 1) returns -1 with this errno.
    void FailCall(std::size_t n, int error);

    /// The calls so far, in order.
    std::vector<Call> Calls() const;
};

} // namespace httpclient::testing
