// SPDX-License-Identifier: Apache-2.0
#include "StopSignal.h"

#include <array>
#include <cerrno>
#include <system_error>

#include <poll.h>
#include <sys/eventfd.h>

namespace httpclient::testing {

namespace {

// Signals are blocked on the server's threads, so EINTR does not come.
bool Stopped(const pollfd& event) {
    return event.revents != 0;
}

} // namespace

StopSignal::StopSignal() : m_event(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (!m_event) {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
}

void StopSignal::Raise() {
    eventfd_write(m_event.get(), 1);
}

bool StopSignal::WaitFor(int fd, short events) const {
    std::array<pollfd, 2> waited{pollfd{m_event.get(), POLLIN, 0}, pollfd{fd, events, 0}};
    return poll(waited.data(), waited.size(), -1) > 0 && !Stopped(waited[0]);
}

bool StopSignal::Pause(std::chrono::milliseconds time) const {
    pollfd event{m_event.get(), POLLIN, 0};
    return poll(&event, 1, static_cast<int>(time.count())) == 0;
}

} // namespace httpclient::testing
