// SPDX-License-Identifier: Apache-2.0
/// @file
/// A listening socket on a loopback address.
#pragma once

#include <cstdint>
#include <string>

#include "Descriptor.h"
#include "StopSignal.h"

namespace httpclient::testing {

/// A listening socket on a loopback address.
class Listener {
public:
    /// @throw std::system_error when the address cannot be bound, and when it is not a loopback address.
    Listener(const std::string& address, std::uint16_t port);

    std::uint16_t port() const { return m_port; }
    /// Non-blocking, for those who accept by themselves.
    int descriptor() const { return m_socket.get(); }
    /// Waits for a connection. @return it, non-blocking; an empty one when the server stops.
    Descriptor Accept(const StopSignal& stop) const;
    /// Stops listening.
    void Close() { m_socket.Close(); }

private:
    Descriptor m_socket;
    std::uint16_t m_port = 0;
};

} // namespace httpclient::testing
