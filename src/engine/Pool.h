// SPDX-License-Identifier: Apache-2.0
/// @file
/// Connections, lent in line.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <random>
#include <string>
#include <vector>

#include <boost/intrusive/list.hpp>

#include "engine/Address.h"
#include "engine/Connection.h"
#include "engine/identity/Loopback.h"
#include "net/TlsMaterial.h"
#include "support/Waker.h"

namespace httpclient::engine {

class Destination;
struct PoolLimits;

/// A call's place in the line for a connection. Lives in the call; the pool's lock guards it.
class Ticket {
public:
    enum class State { Idle, Waiting, Connection, Slot, Shutdown };

    Ticket() = default;
    Ticket(const Ticket&) = delete;
    Ticket& operator=(const Ticket&) = delete;

private:
    friend class Pool;
    State m_state = State::Idle;
    std::unique_ptr<Connection> m_connection;
    std::shared_ptr<Waker> m_waker;
    boost::intrusive::list_member_hook<> m_place;

public:
    using Line = boost::intrusive::list<
        Ticket,
        boost::intrusive::member_hook<Ticket, boost::intrusive::list_member_hook<>, &Ticket::m_place>>;
};

/// What connections are shared for: everything under one key, and nothing else.
///
/// What is constant here may be read without a lock; lists and counts are the pool's, under its lock.
class Destination {
public:
    Destination(std::string uniqueKey, Origin serves, Place place, std::shared_ptr<net::TlsMaterial> tls,
                std::shared_ptr<OriginCounts> counted);

    const std::string key;
    const Origin origin;
    const Place place;
    const std::string text;                            ///< of the origin, as logs name it
    const std::string authority;                       ///< the value of Host
    const std::shared_ptr<net::TlsMaterial> material;  ///< null: plain
    const Nearness nearness;                           ///< of the place
    const std::shared_ptr<net::SessionCache> sessions; ///< null: plain
    const std::shared_ptr<OriginCounts> counts;        ///< of the origin, which several destinations may have

private:
    friend class Pool;
    bool MayDial(const PoolLimits& limits) const noexcept;

    using Idle =
        boost::intrusive::list<Connection,
                               boost::intrusive::member_hook<Connection, boost::intrusive::list_member_hook<>,
                                                             &Connection::ofDestination>>;
    Idle m_idle;                ///< last used at the end
    Ticket::Line m_waiting;     ///< first in line at the front
    std::size_t m_taken = 0;    ///< connections, idle ones and those being made included
    std::size_t m_dialling = 0; ///< of those, the ones that were granted and are not told to be Dialled() yet
    boost::intrusive::list_member_hook<>
        m_starving; ///< in the list of those whose own limits let another connection be made
};

/// What bounds a pool.
struct PoolLimits {
    std::size_t perOrigin = 100;
    std::size_t inAll = 10'000;
    std::size_t waiting = 10'000;
    std::chrono::milliseconds idle{30'000};
    std::chrono::milliseconds age{600'000};
    /// Connections to one destination that are being made at a time. A listener's line is as long as this where it is
    /// short; what does not fit in is dropped, and tried again after a second, then two, then four.
    std::size_t dials = 128;
};

/// How a destination stands at one moment.
struct PoolLevel {
    std::shared_ptr<const OriginCounts> counts;
    std::size_t active = 0; ///< connections that are lent or being made
    std::size_t idle = 0;
    std::size_t waiting = 0; ///< calls
};

/// Lends connections per destination. Whoever finds none, and no room for another, waits in line; what comes back,
/// or becomes free, goes to the first in line.
///
/// A connection counts from the moment that a slot for it was granted. Who was granted one makes the connection
/// and gives it back with Return(), or gives the slot back with Free(); it also says when it has Dialled(), for only so
/// many do that at a time. Nothing is made, closed or woken under the lock.
///
/// @par Thread Safety
/// Any thread.
class Pool {
public:
    /// What an asking call got.
    enum class Answer {
        Connection, ///< Take() it
        Slot,       ///< it may make a connection
        Waiting,    ///< it is in line; its waker is called when Look() has news
        Overloaded, ///< the line is full
        Shutdown    ///< the pool is closed
    };

    explicit Pool(const PoolLimits& limits);
    Pool(const Pool&) = delete;
    Pool& operator=(const Pool&) = delete;
    ~Pool();

    /// @return the destination of the same key: one that is there, or the one that is offered.
    std::shared_ptr<Destination> Share(std::shared_ptr<Destination> offered);

    /// Asks for a connection. @param waker called when the ticket, waiting in line, has news.
    Answer Ask(Destination& to, Ticket& ticket, const std::shared_ptr<Waker>& waker, net::Time now);
    /// @return what a waiting ticket has by now.
    Answer Look(const Ticket& ticket) const;
    /// @return the connection of a ticket that was granted one.
    static std::unique_ptr<Connection> Take(Ticket& ticket);
    /// A call that ends early leaves the line, or passes on what it was granted meanwhile.
    /// @return as Return().
    net::Time Leave(Destination& of, Ticket& ticket, net::Time now);
    /// A kept connection turned out to be dead. @return another kept one, with whose slot that of the dead one is
    /// given back; null: the caller keeps its slot and makes a connection.
    std::unique_ptr<Connection> Instead(Destination& of, net::Time now);
    /// Takes a connection back that may be used again.
    /// @return when somebody has to look after it; Time::max() when it is not idle.
    net::Time Return(std::unique_ptr<Connection> connection, net::Time now);
    /// Who was granted a slot has dialled, or will take longer for it than others should wait. Once, before Free().
    void Dialled(Destination& of);
    /// Takes back the slot of a connection that is closed or was never made.
    void Free(Destination& of);

    /// Closes what has been idle too long or is too old. @return when the next one is due; Time::max(): never.
    net::Time Sweep(net::Time now);
    /// Closes all idle connections, those of one destination excepted. @return how many.
    std::size_t CloseIdle(CloseReason reason, const Destination* except = nullptr);
    /// Closes the idle connections of one destination.
    void CloseIdleOf(Destination& of);
    /// Lets nothing in any more, closes the idle connections and ends all waiting.
    void Close();
    /// Raises the limit per origin; a lower value is ignored.
    void RaisePerOrigin(std::size_t limit);
    void SetIdleTimeout(std::chrono::milliseconds most);
    /// @return how each destination stands. The lock is held for a few instructions a destination.
    std::vector<PoolLevel> Levels() const;
    /// @return all destinations with TLS material.
    std::vector<std::shared_ptr<Destination>> WithMaterial() const;
    /// Gives up keys and sessions of all destinations, which clients may go on to refer to. For a pool that is closed.
    void DropMaterial() noexcept;

private:
    using IdleOfAll = boost::intrusive::list<
        Connection,
        boost::intrusive::member_hook<Connection, boost::intrusive::list_member_hook<>, &Connection::ofAll>>;
    using Starving = boost::intrusive::list<
        Destination, boost::intrusive::member_hook<Destination, boost::intrusive::list_member_hook<>,
                                                   &Destination::m_starving>>;
    /// What is closed when the lock was given back: it is made before the lock is taken.
    class Graveyard : public Destination::Idle {
    public:
        ~Graveyard();
    };
    using Destinations = std::map<std::string, std::shared_ptr<Destination>>;
    using Lock = std::unique_lock<std::mutex>;

    /// @param last null: none. @return the destination after it; null: it was the last.
    std::shared_ptr<Destination> Next(const std::shared_ptr<Destination>& last) const noexcept;
    net::Time DueOf(const Connection& connection) const noexcept;
    static CloseReason ReasonOfAge(const Connection& connection, net::Time now) noexcept;
    void RemoveIdle(Connection& connection, CloseReason reason, Graveyard& dead) noexcept;
    std::unique_ptr<Connection> PopIdle(Destination& of, net::Time now, Graveyard& dead) noexcept;
    std::size_t RoomFor(const Destination& of) const noexcept;
    bool MakeRoom(Graveyard& dead) noexcept;
    void TakeSlot(Destination& of) noexcept;
    void Enqueue(Destination& of, Ticket& ticket, const std::shared_ptr<Waker>& waker);
    void GiveSlotBack(Destination& of) noexcept;
    Destination* NextToServe(Graveyard& dead) noexcept;
    void GrantSlots(Lock& lock, Graveyard& dead);
    void Unqueue(Destination& of, Ticket& ticket) noexcept;
    void UpdateStarving(Destination& of) noexcept;
    void TakeUnused(Destinations& unused);

    mutable std::mutex m_lock;
    PoolLimits m_limits;
    Destinations m_destinations;
    std::size_t m_purgeAt = 64; ///< at so many destinations those are dropped that nobody uses
    IdleOfAll m_idle;           ///< of all destinations, last used at the end
    Starving m_starving;        ///< destinations in whose line somebody waits, and not for their own limits
    std::size_t m_taken = 0;
    bool m_closed = false;
    std::minstd_rand m_random{std::random_device{}()};
};

} // namespace httpclient::engine
