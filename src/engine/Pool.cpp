// SPDX-License-Identifier: Apache-2.0
#include "engine/Pool.h"

#include <algorithm>
#include <utility>

#include "engine/Deadline.h"

namespace httpclient::engine {

Destination::Destination(std::string uniqueKey, Origin serves, Place connectsTo,
                         std::shared_ptr<net::TlsMaterial> tls, std::shared_ptr<OriginCounts> counted)
    : key(std::move(uniqueKey)), origin(std::move(serves)), place(std::move(connectsTo)), text(origin.Text()),
      authority(origin.Authority()), material(std::move(tls)), nearness(NearnessOf(place)),
      sessions(material ? std::make_shared<net::SessionCache>() : nullptr), counts(std::move(counted)) {}

Pool::Pool(const PoolLimits& limits) : m_limits(limits) {
    m_limits.idle = Bounded(limits.idle);
    m_limits.age = Bounded(limits.age);
}

Pool::~Pool() {
    Close();
}

Pool::Graveyard::~Graveyard() {
    clear_and_dispose([](Connection* connection) { delete connection; });
}

std::shared_ptr<Destination> Pool::Share(std::shared_ptr<Destination> offered) {
    Destinations unused; // torn down after the lock
    const Lock lock(m_lock);
    const auto entry = m_destinations.try_emplace(offered->key, offered).first;
    std::shared_ptr<Destination> shared = entry->second;
    if (m_destinations.size() >= m_purgeAt) {
        TakeUnused(unused);
        m_purgeAt = std::max<std::size_t>(64, 2 * m_destinations.size());
    }
    return shared;
}

/// Takes out the destinations that no client, call or connection refers to.
void Pool::TakeUnused(Destinations& unused) {
    for (auto entry = m_destinations.begin(); entry != m_destinations.end();) {
        const auto next = std::next(entry);
        if (entry->second.use_count() == 1 && entry->second->m_taken == 0 &&
            entry->second->m_waiting.empty()) {
            unused.insert(m_destinations.extract(entry));
        }
        entry = next;
    }
}

net::Time Pool::DueOf(const Connection& connection) const noexcept {
    return std::min({connection.idleSince + m_limits.idle, connection.oldest, connection.goodFor});
}

/// @return why a connection may not be kept any longer.
CloseReason Pool::ReasonOfAge(const Connection& connection, net::Time now) noexcept {
    if (connection.goodFor <= now) {
        return CloseReason::Server;
    }
    return connection.oldest <= now ? CloseReason::Age : CloseReason::Idle;
}

/// Takes a connection out of the idle ones, to be closed; its slot is free.
void Pool::RemoveIdle(Connection& connection, CloseReason reason, Graveyard& dead) noexcept {
    connection.closing = reason;
    Destination& of = *connection.destination;
    of.m_idle.erase(of.m_idle.iterator_to(connection));
    m_idle.erase(m_idle.iterator_to(connection));
    dead.push_back(connection);
    GiveSlotBack(of);
}

std::unique_ptr<Connection> Pool::PopIdle(Destination& of, net::Time now, Graveyard& dead) noexcept {
    while (!of.m_idle.empty()) {
        Connection& last = of.m_idle.back();
        if (DueOf(last) <= now) {
            RemoveIdle(last, ReasonOfAge(last, now), dead);
            continue;
        }
        of.m_idle.pop_back();
        m_idle.erase(m_idle.iterator_to(last));
        return std::unique_ptr<Connection>(&last);
    }
    return nullptr;
}

bool Destination::MayDial(const PoolLimits& limits) const noexcept {
    return m_taken < limits.perOrigin && m_dialling < limits.dials;
}

/// @return how many of those in line wait for nothing but their turn to dial: they are not too many.
std::size_t Pool::RoomFor(const Destination& of) const noexcept {
    const auto left = [](std::size_t limit, std::size_t taken) { return limit > taken ? limit - taken : 0; };
    return std::min(left(m_limits.perOrigin, of.m_taken), left(m_limits.inAll, m_taken - m_idle.size()));
}

/// Where the limit of all is reached, the connection goes that has been idle longest. @return whether there is room.
bool Pool::MakeRoom(Graveyard& dead) noexcept {
    if (m_taken >= m_limits.inAll && !m_idle.empty()) {
        RemoveIdle(m_idle.front(), CloseReason::Limit, dead);
    }
    return m_taken < m_limits.inAll;
}

Pool::Answer Pool::Ask(Destination& to, Ticket& ticket, const std::shared_ptr<Waker>& waker, net::Time now) {
    Graveyard dead;
    const Lock lock(m_lock);
    ticket.m_state = Ticket::State::Idle;
    if (m_closed) {
        return Answer::Shutdown;
    }
    if (to.m_waiting.empty()) { // nobody overtakes those who wait
        if ((ticket.m_connection = PopIdle(to, now, dead))) {
            ticket.m_state = Ticket::State::Connection;
            return Answer::Connection;
        }
        if (to.MayDial(m_limits) && MakeRoom(dead)) {
            TakeSlot(to);
            return Answer::Slot;
        }
    }
    if (to.m_waiting.size() >= m_limits.waiting + RoomFor(to)) {
        return Answer::Overloaded;
    }
    Enqueue(to, ticket, waker);
    return Answer::Waiting;
}

void Pool::Enqueue(Destination& of, Ticket& ticket, const std::shared_ptr<Waker>& waker) {
    ticket.m_state = Ticket::State::Waiting;
    ticket.m_waker = waker;
    of.m_waiting.push_back(ticket);
    UpdateStarving(of);
}

void Pool::Unqueue(Destination& of, Ticket& ticket) noexcept {
    of.m_waiting.erase(of.m_waiting.iterator_to(ticket));
    UpdateStarving(of);
}

/// A destination starves while somebody waits in its line and its own limits are not what keeps it.
void Pool::UpdateStarving(Destination& of) noexcept {
    const bool starves = !of.m_waiting.empty() && of.MayDial(m_limits);
    if (starves && !of.m_starving.is_linked()) {
        m_starving.push_back(of);
    } else if (!starves && of.m_starving.is_linked()) {
        m_starving.erase(m_starving.iterator_to(of));
    }
}

Pool::Answer Pool::Look(const Ticket& ticket) const {
    const Lock lock(m_lock);
    switch (ticket.m_state) {
    case Ticket::State::Connection:
        return Answer::Connection;
    case Ticket::State::Slot:
        return Answer::Slot;
    case Ticket::State::Shutdown:
        return Answer::Shutdown;
    default:
        return Answer::Waiting;
    }
}

std::unique_ptr<Connection> Pool::Take(Ticket& ticket) {
    ticket.m_state = Ticket::State::Idle; // granted: nobody else looks at it any more
    return std::move(ticket.m_connection);
}

net::Time Pool::Leave(Destination& of, Ticket& ticket, net::Time now) {
    Lock lock(m_lock);
    const Ticket::State state = std::exchange(ticket.m_state, Ticket::State::Idle);
    if (state == Ticket::State::Waiting) {
        Unqueue(of, ticket);
        return net::Time::max();
    }
    lock.unlock();
    if (state == Ticket::State::Connection) {
        return Return(std::move(ticket.m_connection), now);
    }
    if (state == Ticket::State::Slot) {
        Dialled(of);
        Free(of);
    }
    return net::Time::max();
}

std::unique_ptr<Connection> Pool::Instead(Destination& of, net::Time now) {
    Graveyard dead;
    Lock lock(m_lock);
    std::unique_ptr<Connection> another = m_closed ? nullptr : PopIdle(of, now, dead);
    if (another) {
        GiveSlotBack(of);
    }
    GrantSlots(lock, dead);
    return another;
}

net::Time Pool::Return(std::unique_ptr<Connection> connection, net::Time now) {
    Graveyard dead;
    Lock lock(m_lock);
    Destination& of = *connection->destination;
    connection->used = true;
    connection->idleSince = now;
    if (connection->oldest == net::Time{}) {
        constexpr unsigned JITTER_PERCENT = 10;
        constexpr unsigned STEPS = 1000;
        const auto less = m_limits.age * (m_random() % STEPS) / STEPS * JITTER_PERCENT / 100;
        connection->oldest = connection->born + m_limits.age - less;
    }
    const bool tooOld = DueOf(*connection) <= now;
    const bool fit = !m_closed && !tooOld;
    if (fit && !of.m_waiting.empty()) {
        Ticket& first = of.m_waiting.front();
        Unqueue(of, first);
        first.m_connection = std::move(connection);
        first.m_state = Ticket::State::Connection;
        const std::shared_ptr<Waker> waker = std::move(first.m_waker);
        lock.unlock();
        waker->Wake();
        return net::Time::max();
    }
    if (fit && m_starving.empty()) {
        const net::Time due = DueOf(*connection);
        of.m_idle.push_back(*connection);
        m_idle.push_back(*connection);
        static_cast<void>(connection.release()); // the lists' now
        return due;
    }
    // Not fit, or somebody waits elsewhere for the limit of all.
    const std::shared_ptr<Destination> keptForTheLock = connection->destination;
    connection->closing = m_closed ? CloseReason::Shutdown
                          : tooOld ? ReasonOfAge(*connection, now)
                                   : CloseReason::Limit;
    GiveSlotBack(of);
    GrantSlots(lock, dead);
    lock.unlock();
    connection.reset();
    return net::Time::max();
}

void Pool::GiveSlotBack(Destination& of) noexcept {
    --of.m_taken;
    --m_taken;
    UpdateStarving(of);
}

void Pool::TakeSlot(Destination& of) noexcept {
    ++of.m_taken;
    ++of.m_dialling;
    ++m_taken;
}

void Pool::Dialled(Destination& of) {
    Graveyard dead;
    Lock lock(m_lock);
    --of.m_dialling;
    UpdateStarving(of);
    GrantSlots(lock, dead);
}

void Pool::Free(Destination& of) {
    Graveyard dead;
    Lock lock(m_lock);
    GiveSlotBack(of);
    GrantSlots(lock, dead);
}

Destination* Pool::NextToServe(Graveyard& dead) noexcept {
    return m_closed || m_starving.empty() || !MakeRoom(dead) ? nullptr : &m_starving.front();
}

/// Grants free slots to those who wait for one. The lock is given back for each waking.
void Pool::GrantSlots(Lock& lock, Graveyard& dead) {
    while (Destination* next = NextToServe(dead)) {
        Ticket& first = next->m_waiting.front();
        TakeSlot(*next);
        Unqueue(*next, first);
        if (next->m_starving.is_linked()) { // the others in turn
            m_starving.splice(m_starving.end(), m_starving, m_starving.iterator_to(*next));
        }
        first.m_state = Ticket::State::Slot;
        const std::shared_ptr<Waker> waker = std::move(first.m_waker);
        lock.unlock();
        waker->Wake();
        lock.lock();
    }
}

net::Time Pool::Sweep(net::Time now) {
    Destinations unused;
    Graveyard dead;
    Lock lock(m_lock);
    net::Time next = net::Time::max();
    for (auto place = m_idle.begin(); place != m_idle.end();) {
        Connection& connection = *place++;
        const net::Time due = DueOf(connection);
        if (due <= now) {
            RemoveIdle(connection, ReasonOfAge(connection, now), dead);
        } else {
            next = std::min(next, due);
        }
    }
    TakeUnused(unused);
    GrantSlots(lock, dead);
    return next;
}

std::size_t Pool::CloseIdle(CloseReason reason, const Destination* except) {
    Graveyard dead;
    Lock lock(m_lock);
    for (auto place = m_idle.begin(); place != m_idle.end();) {
        Connection& connection = *place++;
        if (connection.destination.get() != except) {
            RemoveIdle(connection, reason, dead);
        }
    }
    const std::size_t count = dead.size();
    GrantSlots(lock, dead);
    return count;
}

void Pool::CloseIdleOf(Destination& of) {
    Graveyard dead;
    Lock lock(m_lock);
    while (!of.m_idle.empty()) {
        RemoveIdle(of.m_idle.front(), CloseReason::Age, dead);
    }
    GrantSlots(lock, dead);
}

void Pool::Close() {
    Destinations unused;
    Graveyard dead;
    const Lock lock(m_lock);
    m_closed = true;
    while (!m_idle.empty()) {
        RemoveIdle(m_idle.front(), CloseReason::Shutdown, dead);
    }
    for (auto& entry : m_destinations) {
        Destination& destination = *entry.second;
        while (!destination.m_waiting.empty()) {
            Ticket& first = destination.m_waiting.front();
            Unqueue(destination, first);
            first.m_state = Ticket::State::Shutdown;
            const std::shared_ptr<Waker> waker = std::move(first.m_waker);
            waker->Wake(); // under the lock: the map must not change meanwhile, and nothing new is served
        }
    }
    TakeUnused(unused);
}

void Pool::RaisePerOrigin(std::size_t limit) {
    Graveyard dead;
    Lock lock(m_lock);
    if (limit <= m_limits.perOrigin) {
        return;
    }
    m_limits.perOrigin = limit;
    for (auto& entry : m_destinations) {
        UpdateStarving(*entry.second);
    }
    GrantSlots(lock, dead);
}

void Pool::SetIdleTimeout(std::chrono::milliseconds most) {
    const Lock lock(m_lock);
    m_limits.idle = Bounded(most);
}

std::vector<PoolLevel> Pool::Levels() const {
    std::vector<PoolLevel> levels;
    for (std::size_t count = 64;;) {
        levels.reserve(count); // not under the lock
        const Lock lock(m_lock);
        if (m_destinations.size() > count) {
            count = 2 * m_destinations.size();
            continue;
        }
        for (const auto& entry : m_destinations) {
            const Destination& to = *entry.second;
            levels.push_back(
                {to.counts, to.m_taken - to.m_idle.size(), to.m_idle.size(), to.m_waiting.size()});
        }
        return levels;
    }
}

std::vector<std::shared_ptr<Destination>> Pool::WithMaterial() const {
    std::vector<std::shared_ptr<Destination>> result;
    const Lock lock(m_lock);
    for (const auto& entry : m_destinations) {
        if (entry.second->material) {
            result.push_back(entry.second);
        }
    }
    return result;
}

std::shared_ptr<Destination> Pool::Next(const std::shared_ptr<Destination>& last) const noexcept {
    const Lock lock(m_lock);
    const auto next = last ? m_destinations.upper_bound(last->key) : m_destinations.begin();
    return next == m_destinations.end() ? nullptr : next->second;
}

void Pool::DropMaterial() noexcept {
    for (std::shared_ptr<Destination> each = Next(nullptr); each; each = Next(each)) {
        if (each->material) {
            each->material->Drop();
            each->sessions->Clear();
        }
    }
}

} // namespace httpclient::engine
