// SPDX-License-Identifier: Apache-2.0
#include "net/Dial.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "net/Socket.h"

namespace httpclient::net {

namespace {

constexpr std::chrono::milliseconds STAGGER{250};
// Between tries at a Unix socket whose backlog is full.
constexpr std::chrono::milliseconds FIRST_PAUSE{2};
constexpr std::chrono::milliseconds LONGEST_PAUSE{50};

/// Families in turn, the first one's first; within a family the order stays.
std::vector<Endpoint> InTurn(std::vector<Endpoint> endpoints) {
    if (endpoints.empty()) {
        return endpoints;
    }
    const int family = endpoints.front().Family();
    const auto others =
        std::stable_partition(endpoints.begin(), endpoints.end(),
                              [family](const Endpoint& each) { return each.Family() == family; });
    std::vector<Endpoint> sorted;
    sorted.reserve(endpoints.size());
    for (auto one = endpoints.begin(), other = others; one != others || other != endpoints.end();) {
        if (one != others) {
            sorted.push_back(*one++);
        }
        if (other != endpoints.end()) {
            sorted.push_back(*other++);
        }
    }
    return sorted;
}

bool UsedUp(std::error_code error) {
    return error == std::errc::too_many_files_open || error == std::errc::too_many_files_open_in_system;
}

/// Whether a socket is connected to itself, as happens to one that dials a port of its own host where nobody listens
/// and that the kernel then gives it for its own end.
bool LeadsToItself(int fd, const Endpoint& endpoint) {
    if (endpoint.Family() != AF_INET && endpoint.Family() != AF_INET6) {
        return false;
    }
    sockaddr_storage own{};
    socklen_t size = sizeof own;
    return getsockname(fd, reinterpret_cast<sockaddr*>(&own), &size) == 0 && size == endpoint.size &&
           std::memcmp(&own, &endpoint.address, size) == 0;
}

} // namespace

Dial::Dial(std::vector<Endpoint> endpoints) : m_endpoints(InTurn(std::move(endpoints))) {
    m_attempts.reserve(m_endpoints.size());
}

Dial::Status Dial::Step(Time now) {
    if (m_connected) {
        return Status::Connected;
    }
    if (Advance(now) || Begin(now)) {
        m_attempts.clear();
        return Status::Connected;
    }
    return m_attempts.empty() && m_next == m_endpoints.size() ? Status::Failed : Status::Pending;
}

/// Looks at what is under way. @return whether one is connected.
bool Dial::Advance(Time now) {
    for (auto attempt = m_attempts.begin(); attempt != m_attempts.end();) {
        if (attempt->again != Time::max() && attempt->again > now) {
            ++attempt;
            continue;
        }
        switch (Try(*attempt, now)) {
        case Outcome::Connected:
            Win(*attempt);
            return true;
        case Outcome::Refused:
            m_nextStart = now; // the next one need not wait
            attempt = m_attempts.erase(attempt);
            break;
        case Outcome::UnderWay:
            ++attempt;
        }
    }
    return false;
}

/// Begins with what is due. @return whether one is connected at once.
bool Dial::Begin(Time now) {
    while (m_next < m_endpoints.size() && (m_attempts.empty() || now >= m_nextStart)) {
        Attempt attempt;
        attempt.endpoint = m_endpoints[m_next];
        ++m_next;
        std::error_code error;
        attempt.socket = OpenSocket(attempt.endpoint.Family(), error);
        const Outcome outcome = attempt.socket ? Try(attempt, now) : Refuse(error);
        if (outcome == Outcome::Connected) {
            Win(attempt);
            return true;
        }
        if (outcome == Outcome::UnderWay) {
            m_attempts.push_back(std::move(attempt));
            m_nextStart = now + STAGGER;
        }
    }
    return false;
}

/// Connects, or asks what has become of it: connect() tells both with one system call.
Dial::Outcome Dial::Try(Attempt& attempt, Time now) {
    const Endpoint& endpoint = attempt.endpoint;
    const int fd = attempt.socket.get();
    const int result = connect(fd, reinterpret_cast<const sockaddr*>(&endpoint.address), endpoint.size);
    const int number = result == 0 ? EISCONN : errno;
    switch (number) {
    case EISCONN:
        return LeadsToItself(fd, endpoint) ? Refuse(SystemError(ECONNREFUSED)) : Outcome::Connected;
    case EINPROGRESS:
    case EALREADY:
    case EINTR: // it goes on all the same
        return Outcome::UnderWay;
    case EAGAIN:
        if (endpoint.Family() == AF_UNIX) {
            attempt.pause = std::min(std::max(attempt.pause * 2, FIRST_PAUSE), LONGEST_PAUSE);
            attempt.again = now + attempt.pause;
            return Outcome::UnderWay;
        }
        break;
    default:
        break;
    }
    return Refuse(SystemError(number));
}

Dial::Outcome Dial::Refuse(std::error_code error) {
    if (!UsedUp(m_error)) {
        m_error = error;
    }
    return Outcome::Refused;
}

void Dial::Win(Attempt& attempt) {
    m_connected = std::move(attempt.socket);
    m_connectedTo = attempt.endpoint;
}

void Dial::Watch(std::vector<pollfd>& to) const {
    for (const Attempt& attempt : m_attempts) {
        if (attempt.again == Time::max()) {
            to.push_back({attempt.socket.get(), POLLOUT, 0});
        }
    }
}

Time Dial::NextStart() const noexcept {
    Time next = m_next < m_endpoints.size() ? m_nextStart : Time::max();
    for (const Attempt& attempt : m_attempts) {
        next = std::min(next, attempt.again);
    }
    return next;
}

Descriptor Dial::Take() {
    return std::move(m_connected);
}

} // namespace httpclient::net
