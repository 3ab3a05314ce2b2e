// SPDX-License-Identifier: Apache-2.0
/// @file
/// Makes pthread_create() fail: link httpclient_interpose_thread.
#pragma once

#include <cstddef>

namespace httpclient::testing {

/// While it lives, counts the threads that the thread which made it creates, through whatever library, and
/// refuses one of them with EAGAIN. Threads that others create (those of the test servers) are left alone.
/// One per thread at a time.
class RefusedThread {
public:
    /// @param n which creation to refuse, counted from 1; 0 refuses none and only counts.
    explicit RefusedThread(std::size_t n = 1);
    ~RefusedThread();
    RefusedThread(const RefusedThread&) = delete;
    RefusedThread& operator=(const RefusedThread&) = delete;

    /// How many creations were asked for, the refused one included.
    std::size_t Asked() const;
};

} // namespace httpclient::testing
