// SPDX-License-Identifier: Apache-2.0
#include "net/Descriptor.h"

#include <cerrno>
#include <system_error>

#include <sys/eventfd.h>
#include <unistd.h>

namespace httpclient::net {

void Descriptor::Reset(int fd) noexcept {
    const int old = std::exchange(m_fd, fd);
    if (old >= 0) {
        close(old); // not repeated when interrupted: on Linux the descriptor is gone either way
    }
}

Descriptor MakeEvent() {
    Descriptor event(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (!event) {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
    return event;
}

} // namespace httpclient::net
