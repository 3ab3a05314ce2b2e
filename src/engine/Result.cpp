// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <new>
#include <stdexcept>
#include <utility>

#include <httpclient/Result.h>

#include "engine/Outcome.h"
#include "support/Trace.h"

namespace httpclient {

namespace {

/// The name of an enumerator by its number.
template <std::size_t N>
const char* NameOf(const std::array<const char*, N>& names, std::size_t number) noexcept {
    return number < N ? names[number] : "Unknown"; // cppcheck-suppress CastIntegerToAddressAtReturn
}

constexpr std::array<const char*, 13> KINDS = {
    "InvalidRequest", "Overloaded", "Resolve",  "Connect",  "Tls",      "Timeout", "Cancelled",
    "ConnectionLost", "Protocol",   "TooLarge", "Identity", "Shutdown", "Internal"};

constexpr std::array<const char*, Timings::Body::PHASES> PHASES = {
    "Prepare", "Token", "Lease", "Resolve", "Connect", "Handshake", "Send", "Head", "Body"};

/// What a failure that was moved from, and one for which memory was short, says. Never destroyed, as threads may
/// outlive main().
const Failure::Body& Nothing() noexcept {
    alignas(Failure::Body) static unsigned char place[sizeof(Failure::Body)];
    static const Failure::Body* const body = [] {
        auto* made = new (place) Failure::Body;
        made->message.assign("out of memory"); // short enough to need no memory
        made->code = std::make_error_code(std::errc::not_enough_memory);
        return made;
    }();
    return *body;
}

} // namespace

const char* ToString(FailureKind kind) noexcept {
    return NameOf(KINDS, static_cast<std::size_t>(kind));
}

const char* ToString(Phase phase) noexcept {
    return NameOf(PHASES, static_cast<std::size_t>(phase));
}

Failure::Failure(std::unique_ptr<Body> body) noexcept : m_body(std::move(body)) {}
Failure::Failure(const Failure& other)
    : m_body(other.m_body ? std::make_unique<Body>(*other.m_body) : nullptr) {}
Failure::Failure(Failure&& other) noexcept = default;
Failure& Failure::operator=(const Failure& other) {
    return *this = Failure(other);
}
Failure& Failure::operator=(Failure&& other) noexcept = default;
Failure::~Failure() = default;

namespace {

const Failure::Body& BodyOf(const std::unique_ptr<Failure::Body>& body) noexcept {
    return body ? *body : Nothing();
}

} // namespace

FailureKind Failure::kind() const noexcept {
    return BodyOf(m_body).kind;
}

Phase Failure::phase() const noexcept {
    return BodyOf(m_body).phase;
}

std::error_code Failure::code() const noexcept {
    return BodyOf(m_body).code;
}

const std::string& Failure::message() const noexcept {
    return BodyOf(m_body).message;
}

bool Failure::requestSent() const noexcept {
    return BodyOf(m_body).requestSent;
}

bool Failure::retryable() const noexcept {
    return BodyOf(m_body).retryable;
}

int Failure::attempts() const noexcept {
    return BodyOf(m_body).attempts;
}

const Timings& Failure::timings() const noexcept {
    return BodyOf(m_body).timings;
}

namespace {

/// The results for which memory was short, by phase; without and with the request sent. Shared and never deleted.
class Exhausted {
public:
    Exhausted() noexcept {
        for (std::size_t phase = 0; phase < Timings::Body::PHASES; ++phase) {
            Make(phase, 0);
            Make(phase, 1);
        }
    }
    Result::Body* Of(Phase phase, bool sent) noexcept {
        return Place(static_cast<std::size_t>(phase), sent ? 1 : 0);
    }

private:
    void Make(std::size_t phase, std::size_t sent) noexcept {
        auto* const failure = new (m_failures[phase][sent]) Failure::Body(Nothing());
        failure->phase = static_cast<Phase>(phase);
        failure->requestSent = sent != 0;
        failure->attempts = sent != 0 || failure->phase > Phase::Lease ? 1 : 0;
        auto* const result =
            new (m_results[phase][sent]) Result::Body(Failure(std::unique_ptr<Failure::Body>(failure)));
        result->shared = true;
    }
    Result::Body* Place(std::size_t phase, std::size_t sent) noexcept {
        return std::launder(reinterpret_cast<Result::Body*>(m_results[phase][sent]));
    }

    template <class T> using Places = unsigned char[Timings::Body::PHASES][2][sizeof(T)];
    alignas(Failure::Body) Places<Failure::Body> m_failures;
    alignas(Result::Body) Places<Result::Body> m_results;
};

} // namespace

Result OutOfMemory(Phase phase, bool requestSent) noexcept {
    alignas(Exhausted) static unsigned char place[sizeof(Exhausted)];
    static Exhausted* const exhausted = new (place) Exhausted;
    return Result(exhausted->Of(phase, requestSent));
}

namespace {

Result NotBegun(FailureKind kind, const std::error_code& code, const std::string& why) {
    auto failure = std::make_unique<Failure::Body>();
    failure->kind = kind;
    failure->code = code;
    failure->message = std::string(ToString(kind)) + " in Prepare: " + why;
    Trace<LogMessage::CallRefused>(failure->message.c_str());
    return Result(std::make_unique<Result::Body>(Failure(std::move(failure))).release());
}

} // namespace

Result Refused(const char* why) {
    return NotBegun(FailureKind::InvalidRequest, {}, why);
}

Result Prevented(const std::error_code& code) {
    return NotBegun(FailureKind::Internal, code, code.message());
}

std::error_code CodeOfCaught() noexcept {
    try {
        throw;
    } catch (const std::system_error& error) {
        return error.code();
    } catch (...) {
        return std::make_error_code(std::errc::not_enough_memory);
    }
}

Result::Result(Body* body) noexcept : m_body(body) {}
Result::Result(Result&& other) noexcept : m_body(std::exchange(other.m_body, nullptr)) {}
Result& Result::operator=(Result&& other) noexcept {
    Result taken(std::move(other));
    std::swap(m_body, taken.m_body);
    return *this;
}
Result::~Result() {
    if (m_body != nullptr && !m_body->shared) {
        delete m_body;
    }
}

Result::operator bool() const noexcept {
    return m_body != nullptr && !m_body->failed;
}

Response& Result::operator*() & {
    if (!*this) {
        throw std::logic_error("httpclient::Result: there is no response");
    }
    return m_body->response;
}

const Response& Result::operator*() const& {
    return *const_cast<Result&>(*this); // the same check, and nothing is changed
}

Response Result::operator*() && {
    return std::move(**this);
}

Response* Result::operator->() {
    return &**this;
}

const Response* Result::operator->() const {
    return &**this;
}

const Failure& Result::failure() const& {
    if (m_body == nullptr || !m_body->failed) {
        throw std::logic_error("httpclient::Result: there is no failure");
    }
    return m_body->failure;
}

} // namespace httpclient
