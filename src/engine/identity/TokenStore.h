// SPDX-License-Identifier: Apache-2.0
/// @file
/// The service tokens of an engine: kept, waited for, renewed, dropped.
#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <forward_list>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include <boost/intrusive/list.hpp>

#include "engine/MonotonicCondition.h"
#include "engine/identity/Token.h"
#include "engine/identity/TokenRequest.h"
#include "net/Net.h"
#include "support/Waker.h"

namespace httpclient::engine {

/// How long before its end a token is renewed.
constexpr std::chrono::seconds TOKEN_RENEWAL_MARGIN = std::chrono::hours(1);
/// How long after a renewal that failed another one is tried.
constexpr std::chrono::seconds TOKEN_RENEWAL_PAUSE = std::chrono::minutes(1);
/// How long a failure is remembered: calls that need the token fail at once meanwhile.
constexpr std::chrono::seconds TOKEN_FAILURE_LIFE{1};

/// Keeps a token per service. Each exchange has a thread of its own, and a deadline of its own, whoever waits for it or
/// leaves; of each service there is one at a time.
///
/// @par Thread Safety
/// Any thread. Nothing is woken, wiped or asked under the lock.
class TokenStore {
    struct Service;

public:
    /// What an asking call got.
    enum class Answer {
        Token,   ///< Take() it
        Waiting, ///< it is in line; its waker is called when Look() has news
        Refused  ///< there is none to be had: TakeRefusal()
    };

    /// A call's place in line. Lives in the call; the store's lock guards it while it waits.
    class Ticket {
    public:
        Ticket() = default;
        Ticket(const Ticket&) = delete;
        Ticket& operator=(const Ticket&) = delete;
        /// After Answer::Token.
        std::shared_ptr<const Token> Take() noexcept { return std::move(m_token); }
        /// After Answer::Refused.
        const TokenRefusal& refusal() const noexcept { return m_refusal; }

    private:
        friend class TokenStore;
        Service* m_service = nullptr; ///< in whose line it is, or was when it was told; the call's own
        Answer m_answer = Answer::Waiting;
        std::shared_ptr<const Token> m_token;
        TokenRefusal m_refusal;
        std::shared_ptr<Waker> m_waker;
        boost::intrusive::list_member_hook<> m_place;

    public:
        using Line = boost::intrusive::list<
            Ticket,
            boost::intrusive::member_hook<Ticket, boost::intrusive::list_member_hook<>, &Ticket::m_place>>;
    };

    explicit TokenStore(Core& core) : m_core(core) {}
    ~TokenStore() { Stop(); }
    TokenStore(const TokenStore&) = delete;
    TokenStore& operator=(const TokenStore&) = delete;

    /// @return the service's token, while it lives; null when there is none.
    std::shared_ptr<const Token> Find(const std::string& service, net::Time now);
    /// Asks for a token. Where there is none, an exchange is begun or joined, unless one has failed just now.
    /// @param waker called when the ticket, waiting in line, has news. @throw std::bad_alloc
    Answer Ask(const std::string& service, Ticket& ticket, const std::shared_ptr<Waker>& waker,
               net::Time now);
    /// @return what a waiting ticket has by now; it is out of the line when it has something.
    Answer Look(Ticket& ticket) noexcept;
    /// A call that ends early leaves the line. Costs nothing when it is in none.
    void Leave(Ticket& ticket) noexcept;
    /// Drops a token that a server has refused, unless another has taken its place.
    void Drop(const std::string& service, std::uint64_t generation) noexcept;

    /// Begins the renewals that are due, and drops what has ended: for the keeper.
    /// @return when it wants to be called again; Time::max(): not before an exchange has ended.
    net::Time Renew(net::Time now);
    /// Waits for the exchanges under way, which the end of the engine has ended, and drops every token. No exchange is
    /// begun any more.
    void Stop() noexcept;

private:
    using Lock = std::unique_lock<std::mutex>;
    using TokenPtr = std::shared_ptr<const Token>;

    /// What is known of a service. Never removed, so that pointers to it hold.
    struct Service {
        explicit Service(const std::string& of) : name(of) {}

        const std::string name; ///< exchanges read it without the lock
        TokenPtr token;
        net::Time endsAt{};
        net::Time renewAt{};
        TokenRefusal refusal; ///< of the last exchange
        net::Time refusedUntil = net::Time::min();
        bool underWay = false;
        Ticket::Line line;
    };

    Service* Known(const std::string& service) noexcept;
    Service& Of(const std::string& service);
    void Begin(Service& service, Lock& lock) noexcept;
    void Exchange(Service& service) noexcept;
    void End(Service& service, TokenOutcome& outcome) noexcept;
    net::Time Keep(Service& service, TokenPtr& fresh, net::Time now) noexcept;
    net::Time Refuse(Service& service, const TokenRefusal& refusal, net::Time now) noexcept;
    static void Wipe(Service& service, Lock& lock) noexcept;
    static void TellLine(Service& service, Lock& lock) noexcept;
    void LeaveExchange() noexcept;

    Core& m_core;
    std::mutex m_lock;
    MonotonicCondition m_ended; ///< an exchange has
    /// Not a map: they are few, never more than the patterns among which a call's service was looked for.
    std::forward_list<Service> m_services;
    std::atomic<std::uint64_t> m_lastGeneration{0};
    std::size_t m_underWay = 0; ///< exchanges, whose threads touch this object
    bool m_stopped = false;
};

} // namespace httpclient::engine
