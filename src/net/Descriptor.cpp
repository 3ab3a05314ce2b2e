// SPDX-License-Identifier: Apache-2.0
#include "net/Descriptor.h"

#include <unistd.h>

namespace httpclient::net {

void Descriptor::Reset(int fd) noexcept {
    const int old = std::exchange(m_fd, fd);
    if (old >= 0) {
        close(old); // not repeated when interrupted: on Linux the descriptor is gone either way
    }
}

} // namespace httpclient::net
