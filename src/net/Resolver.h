// SPDX-License-Identifier: Apache-2.0
/// @file
/// Names to addresses, on threads of its own, so that a caller's deadline holds.
#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "net/Net.h"
#include "support/Waker.h"

namespace httpclient::net {

/// What a look-up gave. Either addresses or an error (ResolverCategory() for EAI_*, else the system's).
struct NameAnswer {
    std::vector<Endpoint> endpoints; ///< port 0; in the order of getaddrinfo()
    std::error_code error;
};

/// Looks names up, one look-up per name at a time, several names at once; keeps answers for a while, and uses an
/// old one on while a new one cannot be had.
///
/// @par Thread Safety
/// Any thread. Never calls a Waker under a lock.
class Resolver {
public:
    /// @param lifetime how long an answer is used before it is looked up anew.
    explicit Resolver(std::chrono::milliseconds lifetime);
    /// Waits for no look-up: its threads go on by themselves and touch only what they own.
    ~Resolver();

    /// Asks for a name. Numeric addresses are answered at once, without a thread.
    /// @param waker woken when a look-up that was begun or joined here has ended; then Find() is called again.
    /// @return the answer (an old one at once, while a new one is looked up behind it); null: wait to be woken.
    /// @throw std::bad_alloc, std::system_error (no thread could be started)
    std::shared_ptr<const NameAnswer> Find(const std::string& name, Time now,
                                           const std::shared_ptr<Waker>& waker);

private:
    struct State;
    std::shared_ptr<State> m_state;
};

} // namespace httpclient::net
