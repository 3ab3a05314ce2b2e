// SPDX-License-Identifier: Apache-2.0
/// @file
/// Holds the system calls of event loops: each can be seen, and something be done just before it.
#pragma once

#include <functional>

/// What a thread is about to do.
struct Step {
    enum class What { Turn, Connect, Send, Receive, LookUp, Open };
    What what;
    int fd;      ///< of Connect, Send and Receive
    bool onLoop; ///< whether this thread is an event loop's
};

/// While it lives, a function is called before each step of any thread, on that thread. One at a time. Steps within
/// the function are not seen.
class Steps {
public:
    explicit Steps(std::function<void(const Step&)> before);
    /// Waits for the function to return where it runs.
    ~Steps();
    Steps(const Steps&) = delete;
    Steps& operator=(const Steps&) = delete;

    /// From now on a loop sends so many bytes at once at most. 0: any number.
    static void SendAtMost(std::size_t bytes);
};
