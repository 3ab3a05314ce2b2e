// SPDX-License-Identifier: Apache-2.0
/// @file
/// The owner of a file descriptor.
#pragma once

#include <utility>

#include <unistd.h>

namespace httpclient::testing {

/// Owns a file descriptor and closes it. Movable.
class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int fd) : m_fd(fd) {}
    ~Descriptor() { Close(); }
    Descriptor(Descriptor&& other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        if (this != &other) {
            Close();
            m_fd = std::exchange(other.m_fd, -1);
        }
        return *this;
    }

    explicit operator bool() const { return m_fd >= 0; }
    int get() const { return m_fd; }
    void Close() {
        if (m_fd >= 0) {
            close(std::exchange(m_fd, -1));
        }
    }

private:
    int m_fd = -1;
};

} // namespace httpclient::testing
