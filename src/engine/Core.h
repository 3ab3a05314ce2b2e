// SPDX-License-Identifier: Apache-2.0
/// @file
/// What the calls of one engine share, and how it begins and ends.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>

#include <boost/intrusive/list.hpp>

#include <httpclient/Engine.h>

#include "engine/Keeper.h"
#include "engine/MonotonicCondition.h"
#include "engine/Parker.h"
#include "engine/Pool.h"
#include "engine/Statistics.h"
#include "engine/identity/TokenStore.h"
#include "net/Descriptor.h"
#include "net/Resolver.h"

namespace httpclient::engine {

class Loops;

/// One life of an engine: from its first use to its end, in one process. A forked child and a shared engine that
/// was finalized begin another.
///
/// @par Thread Safety
/// Any thread.
class Core {
public:
    /// @param counts of the engine's earlier lives, which are gone on with.
    Core(const EngineOptions::Body& options, std::shared_ptr<Statistics> counts);
    ~Core();
    Core(const Core&) = delete;
    Core& operator=(const Core&) = delete;

    /// A call under way: while it lives, the core waits for it before it ends.
    class Visit {
    public:
        explicit Visit(Core& core) noexcept;
        ~Visit();
        Visit(const Visit&) = delete;
        Visit& operator=(const Visit&) = delete;
        /// @return whether the call may begin: the engine is not shut down.
        bool entered() const noexcept { return m_core != nullptr; }
        /// The call has its outcome, which the host may learn of at any moment: no grace is used up for what is left of
        /// the call, though it is waited for.
        void Over() noexcept;

    private:
        Core* m_core;
        bool m_over = false;
    };

    /// While it lives, the end of the engine wakes this thread's place to wait, too.
    class Parked {
    public:
        Parked(Core& core, Parker& parker);
        ~Parked();
        Parked(const Parked&) = delete;
        Parked& operator=(const Parked&) = delete;

    private:
        friend class Core;
        Core& m_core;
        Parker& m_parker;
        boost::intrusive::list_member_hook<> m_place;
    };

    /// While it lives, this thread runs code of the host for a call.
    class HostCode {
    public:
        explicit HostCode(const Core& core) noexcept;
        ~HostCode();
        HostCode(const HostCode&) = delete;
        HostCode& operator=(const HostCode&) = delete;
        static std::uint64_t CallsOn(const Core& core) noexcept;

    private:
        const Core& m_core;
        const HostCode* m_outer;
    };

    Pool& pool() noexcept { return m_pool; }
    net::Resolver& resolver() noexcept { return m_resolver; }
    Keeper& keeper() noexcept { return m_keeper; }
    TokenStore& tokens() noexcept { return m_tokens; }
    Loops& loops() noexcept { return *m_loops; }
    Statistics& statistics() noexcept { return *m_statistics; }
    const std::shared_ptr<Statistics>& sharedStatistics() const noexcept { return m_statistics; }
    /// @return the host's observer; null: there is none.
    Observer* observer() const noexcept { return m_observer.get(); }

    /// @return whether calls under way have to end.
    bool ended() const noexcept { return m_ended.load(std::memory_order_relaxed); }
    /// @return a descriptor that is readable once calls under way have to end, for good.
    int endDescriptor() const noexcept { return m_end.get(); }
    /// @return whether this is another process than the one that made it: then nothing here may be touched.
    bool forked() const noexcept;

    /// Has the next use of the engine begin another core.
    void Retire() noexcept { m_retired.store(true, std::memory_order_release); }
    bool retired() const noexcept { return m_retired.load(std::memory_order_acquire); }

    Core* before =
        nullptr; ///< the engine's core before this one, kept because a call may just have looked it up

    /// Lets no call begin, waits for those under way, and ends those that take longer than @p grace.
    /// @return whether none had to be ended.
    bool Shutdown(std::chrono::milliseconds grace);

private:
    net::Time Look(net::Time now);
    bool WaitForCalls(net::Time until);
    void EndCalls();
    void CloseEnd();

    const std::shared_ptr<Statistics> m_statistics;
    const std::shared_ptr<Observer> m_observer;
    const std::uint64_t m_epoch;
    net::Descriptor m_end;
    std::atomic<bool> m_ended{false};
    std::atomic<bool> m_retired{false};
    Pool m_pool;
    net::Resolver m_resolver;
    Keeper m_keeper;
    TokenStore m_tokens;
    const std::unique_ptr<Loops> m_loops;

    /// Those under way in the lower half, those that are over but for their end in the upper one, whose highest bit says
    /// that none may begin.
    std::atomic<std::uint64_t> m_calls{0};
    std::mutex m_lock;
    MonotonicCondition m_left;          ///< a call under way has ended, or waits itself
    std::uint64_t m_waitThemselves = 0; ///< calls whose host code waits for the others
    using Parkeds = boost::intrusive::list<
        Parked,
        boost::intrusive::member_hook<Parked, boost::intrusive::list_member_hook<>, &Parked::m_place>>;
    Parkeds m_parked;
};

} // namespace httpclient::engine
