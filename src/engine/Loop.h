// SPDX-License-Identifier: Apache-2.0
/// @file
/// One event loop: a thread that drives calls by readiness.
#pragma once

#include <atomic>
#include <cstddef>
#include <memory>
#include <mutex>
#include <thread>

#include <boost/intrusive/list.hpp>
#include <boost/intrusive/set.hpp>
#include <event2/event.h>
#include <event2/event_struct.h>

#include "engine/AsyncCall.h"
#include "engine/MonotonicCondition.h"
#include "net/Descriptor.h"

namespace httpclient::engine {

/// Drives the calls that belong to it. One timer serves all deadlines; nothing here allocates per call.
///
/// @par Thread Safety
/// Any thread may add calls; the rest is the loop's own thread's.
///
/// @par Ownership
/// Its thread owns it, too: the last call may take the engine with it, and the thread goes on for a moment.
class Loop : public std::enable_shared_from_this<Loop> {
public:
    Loop();
    ~Loop();
    Loop(const Loop&) = delete;
    Loop& operator=(const Loop&) = delete;

    /// Starts the thread. @throw std::system_error
    void Start();
    /// Lets the thread end with the last call that the loop has. @param wait whether to wait for it; never on a loop's
    /// own thread, and not amid host code of a call.
    void Stop(bool wait) noexcept;
    /// Lets go of the thread, wherever it is.
    void Detach() noexcept;
    bool isThisThread() const noexcept;
    /// One turn: waits for news, until a time at the latest, and advances what has any. For the loop's thread.
    void Turn(net::Time until);
    /// Has the loop look at all its calls: the engine ends.
    void Interrupt() noexcept;

    /// One more call, and one less when its outcome is handed over: the loop stays for those that it has.
    void Enter() noexcept { m_calls.fetch_add(1); }
    void Leave() noexcept { m_calls.fetch_sub(1); }
    /// A call begins: any thread. @param call is ready, and knows it.
    void Add(std::shared_ptr<AsyncCall> call) noexcept;
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

    void Run();
    bool HasEnded() noexcept;
    void Release() noexcept;
    void WakeUp() noexcept;
    void WaitForNews(net::Time until) noexcept;
    void Append(Ready& to, std::shared_ptr<AsyncCall> call) noexcept;
    void FileFresh() noexcept;
    void ReadyThoseDue(net::Time now) noexcept;
    void BringForward(AsyncCall& call) noexcept;
    std::shared_ptr<AsyncCall> NextReady() noexcept;

    static constexpr std::size_t SCRATCH = 64UL * 1024;

    std::unique_ptr<event_base, BaseFree> m_base;
    net::Descriptor m_wake;
    event m_wakeEvent{};
    event m_timer{};
    net::Time m_timerAt = net::Time::max(); ///< what the timer is set to
    std::unique_ptr<char[]> m_scratch;
    Deadlines m_deadlines;
    std::atomic<std::size_t> m_calls{0};
    std::atomic<bool> m_lookAtAll{false}; ///< the engine ends

    std::mutex m_lock;             ///< of what follows
    MonotonicCondition m_hasEnded; ///< for those who wait for the thread while another joins it
    Ready m_fresh;                 ///< calls that have just begun
    Ready m_ready;
    bool m_asleep = false; ///< or about to be: who brings news has to wake the thread
    bool m_stopped = false;
    bool m_over = true; ///< there is no thread, or none that looks at its calls any more
    std::thread m_thread;
};

} // namespace httpclient::engine
