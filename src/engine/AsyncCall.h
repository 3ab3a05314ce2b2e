// SPDX-License-Identifier: Apache-2.0
/// @file
/// A call on an event loop.
#pragma once

#include <atomic>
#include <csignal>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include <boost/intrusive/list_hook.hpp>
#include <boost/intrusive/set_hook.hpp>
#include <event2/event_struct.h>

#include <httpclient/Client.h>

#include "engine/Call.h"
#include "engine/ClientBody.h"
#include "engine/Jobs.h"

namespace httpclient {

class Call::Body {
public:
    Body() = default;
    Body(const Body&) = delete;
    Body& operator=(const Body&) = delete;
    virtual ~Body();
    virtual void Cancel() noexcept = 0;
};

} // namespace httpclient

namespace httpclient::engine {

class Loop;

/// One call that a loop drives, with the host's request and the function that gets the outcome.
///
/// It belongs to one loop, whose thread alone steps it. Others only wake it, cancel it, or run its piece of host code
/// while the loop leaves it alone.
class AsyncCall final : public httpclient::Call::Body,
                        public Waker,
                        public Job,
                        public std::enable_shared_from_this<AsyncCall> {
public:
    /// Where the outcome is handed over.
    enum class DeliverOn { Callbacks, Loop };

    /// Enters the engine, if it is open.
    AsyncCall(std::shared_ptr<Client::Body> client, Core& core, DeliverOn where);
    ~AsyncCall() override;

    /// @return whether the engine has taken the call: it is not shut down.
    bool entered() const noexcept { return m_visit->entered(); }
    /// Puts the call on a loop. @throw std::bad_alloc, std::system_error: it is not.
    void Start(Request request, std::unique_ptr<Completion> done);
    /// Has the outcome of a call that the engine has not taken handed over, on a thread of its own.
    /// @throw std::bad_alloc, std::system_error: it is not.
    void Refuse(Request request, std::unique_ptr<Completion> done);
    void Cancel() noexcept override;
    void Wake() noexcept override;

    /// Steps the call as far as it goes for now. The loop's thread. @param scratch the loop's.
    void Advance(Scratch scratch);
    /// @return when it has to be advanced though nothing happens.
    net::Time due() const noexcept { return m_due; }
    /// @return when it has to be over. Until it was advanced.
    net::Time deadline() const noexcept { return m_call->due(); }

private:
    enum class Doing { Stepping, Host, Work, Running, Delivering, Over };

    void Take(Request request, std::unique_ptr<Completion> done);
    void Run() override;
    void RunPiece(Doing what);
    static void OnEvent(int fd, short what, void* self);
    void Go(Scratch scratch);
    void Follow(const Wait& wait);
    bool Watch(event& place, const pollfd& what) noexcept;
    bool WatchDial(const std::vector<pollfd>& watched);
    void Disarm() noexcept;
    void WaitUntil(net::Time until) noexcept;
    void HandOver(Doing what);
    void HandToExecutor(const std::function<void()>& run);
    void RunExecutor(const std::function<void()>& run);
    void RunPieceHere(Doing what);
    bool TooLateToBegin() const noexcept;
    bool TakeBack() noexcept;
    void Finish();
    Result Outcome();
    void HandOverOutcome();
    void Deliver();
    void DeliverHere(const sigset_t& mask);

    const std::shared_ptr<Client::Body> m_client;
    Core& m_core;
    Loop* m_loop = nullptr;
    std::optional<Core::Visit> m_visit;
    std::optional<Request> m_request;
    std::unique_ptr<Completion> m_done;
    const DeliverOn m_where;
    std::optional<engine::Call> m_call;
    std::optional<Result> m_result;
    std::atomic<bool> m_cancelled{false};
    std::atomic<bool> m_exhausted{false}; ///< memory, while a piece ran on another thread
    std::atomic<Doing> m_doing{Doing::Stepping};
    bool m_advancing = false;
    bool m_advanceAgain = false; ///< asked for amid an advance

    event m_event{};
    std::vector<std::unique_ptr<event>> m_dialEvents; ///< beside that, while several addresses are tried
    net::Time m_due = net::Time::max();
    net::Time m_handedOverDue = net::Time::max(); ///< of the piece that another thread runs

    friend class Loop;
    boost::intrusive::list_member_hook<> m_ofReady;    ///< place among those to be advanced
    boost::intrusive::set_member_hook<> m_ofDeadlines; ///< place among those that wait for a time
    std::shared_ptr<AsyncCall> m_readySelf;            ///< keeps it while it is ready
    std::shared_ptr<AsyncCall> m_self;                 ///< keeps it until its outcome was delivered
    std::atomic<bool> m_isReady{false};
};

} // namespace httpclient::engine
