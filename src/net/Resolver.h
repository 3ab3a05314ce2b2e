// SPDX-License-Identifier: Apache-2.0
/// @file
/// Names to addresses, on threads of its own, so that a caller's deadline holds.
#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include "net/Net.h"
#include "support/Waker.h"

namespace httpclient::net {

/// Errors of getaddrinfo() (EAI_*), with gai_strerror() as message.
const std::error_category& ResolverCategory() noexcept;

/// What a look-up gave. Either addresses or an error (ResolverCategory() for EAI_*, else the system's).
struct NameAnswer {
    std::vector<Endpoint> endpoints; ///< port 0; in the order of getaddrinfo()
    std::error_code error;
};

/// Looks names up, one look-up per name at a time, several names at once; keeps answers for a while, and uses an
/// old one on while a new one cannot be had. A failure is remembered for a second, the answers of at most
/// MAX_NAMES names are kept.
///
/// @par Thread Safety
/// Any thread. Never calls a Waker under a lock.
class Resolver {
public:
    static constexpr std::size_t MAX_NAMES = 4096;
    static constexpr std::size_t MAX_THREADS = 8;

    /// @param lifetime how long an answer is used before it is looked up anew.
    explicit Resolver(std::chrono::milliseconds lifetime);
    /// Waits for no look-up: its threads go on by themselves and touch only what they own. Nobody is woken any more.
    ~Resolver() { Stop(); }
    /// Ends the threads and forgets the names; Find() is not called any more. What the destructor says holds from then on.
    void Stop() noexcept;
    Resolver(const Resolver&) = delete;
    Resolver& operator=(const Resolver&) = delete;

    /// Asks for a name. Numeric addresses are answered at once, without a thread.
    /// @param waker woken when a look-up that was begun or joined here has ended; then Find() is called again. Who is
    ///        woken finds an answer, even if that is old by then.
    /// @param waited whether the caller may have been woken for this name. One that asks for the first time has not:
    ///        what an earlier caller with the same waker has left without its answer is not meant for it.
    /// @return the answer (an old one at once, while a new one is looked up behind it); null: wait to be woken.
    /// @throw std::bad_alloc, std::system_error (no thread could be started)
    std::shared_ptr<const NameAnswer> Find(const std::string& name, Time now,
                                           const std::shared_ptr<Waker>& waker, bool waited = true);

private:
    struct State;

    void StartThread(bool excused);

    std::shared_ptr<State> m_state;
};

} // namespace httpclient::net
