// SPDX-License-Identifier: Apache-2.0
#include "net/SessionCache.h"

#include <algorithm>
#include <utility>

namespace httpclient::net {

namespace {

SessionCache::SessionPtr NoSession() {
    return {nullptr, &SSL_SESSION_free};
}

} // namespace

SessionCache::SessionCache() : m_sessions(None()) {}

SessionCache::~SessionCache() = default;

void SessionCache::Put(SessionPtr session, std::uint64_t generation) {
    Sessions dropped = None(); // freed when the lock is no longer held
    SessionPtr oldest = NoSession();
    const std::lock_guard<std::mutex> lock(m_lock);
    if (generation < m_generation) {
        std::swap(oldest, session);
        return;
    }
    if (generation > m_generation) {
        dropped = Drop();
        m_generation = generation;
    }
    if (m_count == CAPACITY) {
        std::rotate(m_sessions.begin(), m_sessions.begin() + 1, m_sessions.end());
        --m_count;
        oldest = std::move(m_sessions[m_count]);
    }
    m_sessions[m_count] = std::move(session);
    ++m_count;
}

SessionCache::SessionPtr SessionCache::Take(std::uint64_t generation) {
    Sessions dropped = None();
    const std::lock_guard<std::mutex> lock(m_lock);
    if (generation != m_generation) {
        if (generation > m_generation) {
            dropped = Drop();
        }
        return NoSession();
    }
    if (m_count == 0) {
        return NoSession();
    }
    --m_count;
    return std::exchange(m_sessions[m_count], NoSession());
}

void SessionCache::Clear() {
    Sessions dropped = None();
    const std::lock_guard<std::mutex> lock(m_lock);
    dropped = Drop();
}

SessionCache::Sessions SessionCache::None() {
    return {NoSession(), NoSession(), NoSession(), NoSession(),
            NoSession(), NoSession(), NoSession(), NoSession()};
}

SessionCache::Sessions SessionCache::Drop() {
    m_count = 0;
    return std::exchange(m_sessions, None());
}

} // namespace httpclient::net
