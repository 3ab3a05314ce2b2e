// SPDX-License-Identifier: Apache-2.0
/// @file
/// One event loop: a thread that drives calls by readiness.
#pragma once

#include <memory>
#include <mutex>
#include <thread>

#include <boost/intrusive/list.hpp>
#include <boost/intrusive/set.hpp>
#include <event2/event.h>
#include <event2/event_struct.h>

#include "engine/AsyncCall.h"
#include "net/Descriptor.h"

namespace httpclient::engine {

/// Drives the calls that belong to it. One timer serves all deadlines; nothing here allocates per call.
///
/// @par Thread Safety
/// Any thread may add calls; the rest is the loop's own thread's.
class Loop {
public:
    explicit Loop(Core& core);
    ~Loop();
    Loop(const Loop&) = delete;
    Loop& operator=(const Loop&) = delete;

    /// Starts the thread. @throw std::system_error
    void Start();
    /// Ends the thread; no call may be left. Waits for it, except on itself.
    void Stop() noexcept;
    bool isThisThread() const noexcept { return std::this_thread::get_id() == m_thread.get_id(); }
    /// One turn: waits for news, until a time at the latest, and advances what has any. For the loop's thread.
    void Turn(net::Time until) noexcept;
    /// Has the loop look at all its calls: the engine ends.
    void Interrupt() noexcept;

    /// A call has news: any thread.
    void AddReady(std::shared_ptr<AsyncCall> call) noexcept;

    event_base* base() noexcept { return m_base.get(); }
    /// Files a call under the time when it has to be advanced. The loop's thread.
    void File(AsyncCall& call, net::Time due) noexcept;
    /// Takes it out again.
    void Unfile(AsyncCall& call) noexcept;

private:
    struct BaseFree {
        void operator()(event_base* base) const { event_base_free(base); }
    };
    struct Earlier {
        bool operator()(const AsyncCall& one, const AsyncCall& other) const {
            return one.due() < other.due();
        }
    };
    using Ready =
        boost::intrusive::list<AsyncCall,
                               boost::intrusive::member_hook<AsyncCall, boost::intrusive::list_member_hook<>,
                                                             &AsyncCall::m_ofReady>>;
    using Deadlines = boost::intrusive::multiset<
        AsyncCall,
        boost::intrusive::member_hook<AsyncCall, boost::intrusive::set_member_hook<>,
                                      &AsyncCall::m_ofDeadlines>,
        boost::intrusive::compare<Earlier>>;

    void Run() noexcept;
    void WaitForNews(net::Time until) noexcept;
    void ReadyThoseDue(net::Time now) noexcept;
    std::shared_ptr<AsyncCall> NextReady() noexcept;
    static void OnWake(int fd, short what, void* self);

    static constexpr std::size_t SCRATCH = 64UL * 1024;

    Core& m_core;
    std::unique_ptr<event_base, BaseFree> m_base;
    net::Descriptor m_wake;
    event m_wakeEvent{};
    event m_timer{};
    net::Time m_timerAt = net::Time::max(); ///< what the timer is set to
    std::unique_ptr<char[]> m_scratch;
    std::mutex m_lock;
    Ready m_ready; ///< under the lock
    bool m_stopped = false;
    bool m_interrupted = false; ///< all were looked at since the engine ended
    Deadlines m_deadlines;
    std::thread m_thread;
};

} // namespace httpclient::engine
