// SPDX-License-Identifier: Apache-2.0
/// @file
/// Threads that run code of the host, and what else may block, for calls on an event loop.
#pragma once

#include <csignal>
#include <cstddef>
#include <memory>
#include <mutex>
#include <optional>

#include <boost/intrusive/list.hpp>

#include "engine/MonotonicCondition.h"

namespace httpclient::engine {

/// Something to run. It is in one queue at a time; queueing it allocates nothing.
class Job {
public:
    virtual ~Job() = default;
    /// Runs on one of the threads. @throw only what ends the thread.
    virtual void Run() = 0;

protected:
    Job() = default;
    Job(const Job&) = delete;
    Job& operator=(const Job&) = delete;

private:
    friend class Jobs;
    boost::intrusive::list_member_hook<> m_place;
    std::shared_ptr<Job> m_self; ///< keeps it while it is queued
};

/// A queue of jobs and its threads, which begin with the first job and end when they are told to, after the last one.
///
/// @par Thread Safety
/// Any thread.
class Jobs {
public:
    /// @param threads how many at most.
    /// @param mask the signal mask of the code that runs; nothing: all signals stay blocked.
    Jobs(unsigned threads, std::optional<sigset_t> mask);
    ~Jobs();
    Jobs(const Jobs&) = delete;
    Jobs& operator=(const Jobs&) = delete;

    /// Starts the threads, unless they run. @throw std::system_error when there is not even one.
    void Start();
    /// Queues a job. After Start() it runs, whatever happens.
    /// @return false: it is not queued, for jobs have ended the threads, and another cannot be started.
    [[nodiscard]] bool Add(std::shared_ptr<Job> job) noexcept;
    /// @return whether the job was still waiting: then it is out, and does not run.
    bool Withdraw(Job& job) noexcept;
    /// Lets the threads end when the queue is empty, and waits until it is and nothing runs any more; not for
    /// what itself waits here, and not at all on a thread of its own: its jobs follow when it goes on.
    void Finish();

private:
    struct State;
    static bool StartOne(const std::shared_ptr<State>& state) noexcept;
    static void Run(const std::shared_ptr<State>& state);

    const std::shared_ptr<State> m_state; ///< shared with the threads, which may outlive this object
};

} // namespace httpclient::engine
