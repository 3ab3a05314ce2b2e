// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <stdexcept>
#include <utility>

#include <httpclient/Result.h>

#include "engine/Outcome.h"

namespace httpclient {

namespace {

/// The name of an enumerator by its number.
template <std::size_t N>
const char* NameOf(const std::array<const char*, N>& names, std::size_t number) noexcept {
    return number < N ? names[number] : "Unknown";
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

/// The body of every result for which memory was short; shared and never deleted.
Result::Body* OutOfMemoryBody() noexcept {
    alignas(Result::Body) static unsigned char place[sizeof(Result::Body)];
    static Result::Body* const body = new (place) Result::Body(Failure(nullptr));
    return body;
}

} // namespace

Result OutOfMemory() noexcept {
    return Result(OutOfMemoryBody());
}

Result::Result(Body* body) noexcept : m_body(body) {}
Result::Result(Result&& other) noexcept : m_body(std::exchange(other.m_body, nullptr)) {}
Result& Result::operator=(Result&& other) noexcept {
    Result taken(std::move(other));
    std::swap(m_body, taken.m_body);
    return *this;
}
Result::~Result() {
    if (m_body != OutOfMemoryBody()) {
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
