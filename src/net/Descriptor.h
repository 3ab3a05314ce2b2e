// SPDX-License-Identifier: Apache-2.0
/// @file
/// Owner of a file descriptor.
#pragma once

#include <utility>

namespace httpclient::net {

/// Closes a descriptor when it goes out of scope.
class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int fd) noexcept : m_fd(fd) {}
    Descriptor(Descriptor&& other) noexcept : m_fd(other.Release()) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        Reset(other.Release());
        return *this;
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() { Reset(); }

    int get() const noexcept { return m_fd; }
    explicit operator bool() const noexcept { return m_fd >= 0; }
    int Release() noexcept { return std::exchange(m_fd, -1); }
    void Reset(int fd = -1) noexcept; // Descriptor.cpp

private:
    int m_fd = -1;
};

/// @return an event that threads can wait for, not set. Writing to it does not block.
/// @throw std::system_error where there is no descriptor for it.
Descriptor MakeEvent();

} // namespace httpclient::net
