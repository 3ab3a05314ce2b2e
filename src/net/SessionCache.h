// SPDX-License-Identifier: Apache-2.0
/// @file
/// What TLS sessions are resumed from.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>

#include <openssl/ssl.h>

namespace httpclient::net {

/// Sessions of one origin under one key, last in first out, few. Take() removes (tickets are used once).
///
/// @par Thread Safety
/// Any thread.
class SessionCache {
public:
    using SessionPtr = std::unique_ptr<SSL_SESSION, void (*)(SSL_SESSION*)>;

    /// How many sessions are kept; the oldest goes first.
    static constexpr std::size_t CAPACITY = 8;

    SessionCache();
    ~SessionCache();
    SessionCache(const SessionCache&) = delete;
    SessionCache& operator=(const SessionCache&) = delete;

    /// Keeps a session. One of an older generation than what is there is dropped; a newer one drops the others.
    void Put(SessionPtr session, std::uint64_t generation);
    /// @return the last one put; null: none of that generation. Those of others are dropped.
    SessionPtr Take(std::uint64_t generation);
    void Clear();

private:
    using Sessions = std::array<SessionPtr, CAPACITY>;

    static Sessions None();
    Sessions Drop();

    std::mutex m_lock;
    Sessions m_sessions;
    std::size_t m_count = 0;
    std::uint64_t m_generation = 0;
};

} // namespace httpclient::net
