// SPDX-License-Identifier: Apache-2.0
#include "engine/identity/TokenStore.h"

#include <algorithm>
#include <exception>
#include <optional>
#include <system_error>
#include <thread>

#include "engine/Core.h"
#include "identity/TokenTexts.h"
#include "support/Cancellation.h"
#include "support/ExitGate.h"
#include "support/SignalBlock.h"

namespace httpclient::engine {

namespace {

constexpr std::chrono::seconds TOKEN_LIFE{TOKEN_LIFE_SECONDS};

TokenRefusal RefusalOf(FailureKind cause, std::errc code) noexcept {
    return {cause, std::make_error_code(code), 0, nullptr};
}

TokenRefusal WithoutMemory() noexcept {
    return RefusalOf(FailureKind::Internal, std::errc::not_enough_memory);
}

} // namespace

/// Drops a service's token; it is wiped without the lock.
void TokenStore::Wipe(Service& service, Lock& lock) noexcept {
    TokenPtr dropped = std::move(service.token);
    lock.unlock();
    dropped.reset();
    lock.lock();
}

std::shared_ptr<const Token> TokenStore::Find(const std::string& service, net::Time now) {
    const Lock lock(m_lock);
    const Service* of = Known(service);
    return of != nullptr && now < of->endsAt ? of->token : nullptr;
}

/// @return what is known of a service; null when it was never asked for.
TokenStore::Service* TokenStore::Known(const std::string& service) noexcept {
    for (Service& known : m_services) {
        if (known.name == service) {
            return &known;
        }
    }
    return nullptr;
}

TokenStore::Service& TokenStore::Of(const std::string& service) {
    Service* known = Known(service);
    return known != nullptr ? *known : m_services.emplace_front(service);
}

TokenStore::Answer TokenStore::Ask(const std::string& service, Ticket& ticket,
                                   const std::shared_ptr<Waker>& waker, net::Time now) {
    Lock lock(m_lock);
    Service& of = Of(service);
    if (of.token && now < of.endsAt) {
        ticket.m_token = of.token;
        return Answer::Token;
    }
    if (m_stopped || (!of.underWay && now < of.refusedUntil)) {
        ticket.m_refusal = m_stopped ? RefusalOf(FailureKind::Shutdown, std::errc()) : of.refusal;
        return Answer::Refused;
    }
    ticket.m_answer = Answer::Waiting;
    ticket.m_service = &of;
    ticket.m_waker = waker;
    of.line.push_back(ticket);
    if (!of.underWay) {
        Begin(of, lock);
    }
    lock.unlock();
    return Look(ticket);
}

TokenStore::Answer TokenStore::Look(Ticket& ticket) noexcept {
    const Lock lock(m_lock);
    if (ticket.m_answer != Answer::Waiting) {
        if (ticket.m_place.is_linked()) {
            ticket.m_service->line.erase(Ticket::Line::s_iterator_to(ticket));
        }
        ticket.m_service = nullptr;
    }
    return ticket.m_answer;
}

void TokenStore::Leave(Ticket& ticket) noexcept {
    if (ticket.m_service == nullptr) {
        return;
    }
    const Lock lock(m_lock);
    if (ticket.m_place.is_linked()) {
        ticket.m_service->line.erase(Ticket::Line::s_iterator_to(ticket));
    }
    ticket.m_service = nullptr;
}

void TokenStore::Drop(const std::string& service, std::uint64_t generation) noexcept {
    TokenPtr dropped; // wiped after the lock
    const Lock lock(m_lock);
    Service* of = Known(service);
    if (of != nullptr && of->token && of->token->generation() == generation) {
        dropped = std::move(of->token);
    }
}

/// Begins an exchange on a thread of its own; gives the lock back meanwhile. A thread that cannot be started is an
/// exchange that failed.
void TokenStore::Begin(Service& service, Lock& lock) noexcept {
    service.underWay = true;
    ++m_underWay;
    lock.unlock();
    TokenOutcome failed{{}, WithoutMemory()};
    bool begun = false;
    try {
        const SignalBlock block;
        std::thread([this, &service] {
            const ExitGate::DetachedThread thread;
            Exchange(service);
        }).detach();
        begun = true;
    } catch (const std::system_error& error) {
        failed.refusal.code = error.code();
    } catch (const std::exception&) {
        begun = false; // memory is exhausted
    }
    if (!begun) {
        End(service, failed);
    }
    lock.lock();
}

/// What the thread of an exchange does.
void TokenStore::Exchange(Service& service) noexcept {
    TokenOutcome outcome;
    // cppcheck-suppress throwInNoexceptFunction ; only the end of the thread gets out, and nobody ends this one
    if (!Contained([&] { outcome = AskTokenService(m_core, service.name); })) {
        outcome.refusal = WithoutMemory();
    }
    End(service, outcome);
}

/// Takes an exchange's outcome over and tells those who wait for it. The last touch of this object by its thread.
void TokenStore::End(Service& service, TokenOutcome& outcome) noexcept {
    TokenPtr fresh; // then the old one, which is wiped after the lock
    if (!outcome.token.empty()) {
        const Cleansing cleansing(outcome.token); // before a call is told that there is one
        try {
            fresh = std::make_shared<const Token>(outcome.token, ++m_lastGeneration);
        } catch (const std::exception&) {
            outcome.refusal = WithoutMemory();
        }
    }
    m_core.statistics().CountTokenExchange(service.name,
                                           fresh ? std::nullopt : std::make_optional(outcome.refusal.cause));
    const net::Time now = net::Clock::now();
    net::Time next{};
    {
        Lock lock(m_lock);
        service.underWay = false;
        next = fresh ? Keep(service, fresh, now) : Refuse(service, outcome.refusal, now);
        TellLine(service, lock);
    }
    fresh.reset();
    m_core.keeper().NeededAt(next);
    LeaveExchange();
}

/// @return when the keeper has to look after it.
net::Time TokenStore::Keep(Service& service, TokenPtr& fresh, net::Time now) noexcept {
    service.token.swap(fresh);
    service.endsAt = now + TOKEN_LIFE;
    service.renewAt = service.endsAt - TOKEN_RENEWAL_MARGIN;
    service.refusedUntil = net::Time::min();
    for (Ticket& ticket : service.line) {
        ticket.m_answer = Answer::Token;
        ticket.m_token = service.token;
    }
    return service.renewAt;
}

/// @return likewise.
net::Time TokenStore::Refuse(Service& service, const TokenRefusal& refusal, net::Time now) noexcept {
    service.refusal = refusal;
    service.refusedUntil = now + TOKEN_FAILURE_LIFE;
    service.renewAt = now + TOKEN_RENEWAL_PAUSE;
    for (Ticket& ticket : service.line) {
        ticket.m_answer = Answer::Refused;
        ticket.m_refusal = refusal;
    }
    return service.token ? std::min(service.renewAt, service.endsAt) : net::Time::max();
}

/// Wakes those in line who have an answer, one after the other, without the lock. Who comes meanwhile waits for the
/// next exchange, and stands behind them.
void TokenStore::TellLine(Service& service, Lock& lock) noexcept {
    while (!service.line.empty() && service.line.front().m_answer != Answer::Waiting) {
        Ticket& first = service.line.front();
        service.line.pop_front();
        const std::shared_ptr<Waker> waker = std::move(first.m_waker); // the call may end at once
        lock.unlock();
        waker->Wake();
        lock.lock();
    }
}

void TokenStore::LeaveExchange() noexcept {
    const Lock lock(m_lock);
    --m_underWay;
    m_ended.NotifyAll();
}

net::Time TokenStore::Renew(net::Time now) {
    net::Time next = net::Time::max();
    Lock lock(m_lock);
    for (Service& service : m_services) { // grows at its front meanwhile, and never shrinks
        if (service.token && now >= service.endsAt) {
            Wipe(service, lock);
        }
        if (service.token && !service.underWay && !m_stopped && now >= service.renewAt) {
            Begin(service, lock);
        }
        if (service.token) {
            next = std::min({next, service.endsAt, service.underWay ? net::Time::max() : service.renewAt});
        }
    }
    return next;
}

void TokenStore::Stop() noexcept {
    Lock lock(m_lock);
    m_stopped = true;
    while (m_underWay > 0) {
        m_ended.Wait(lock, net::Time::max());
    }
    for (Service& service : m_services) {
        Wipe(service, lock);
    }
}

} // namespace httpclient::engine
