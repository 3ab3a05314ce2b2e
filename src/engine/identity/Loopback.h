// SPDX-License-Identifier: Apache-2.0
/// @file
/// Which connections do not leave this host: a token goes over plain HTTP to no other.
#pragma once

#include "engine/Address.h"

namespace httpclient::engine {

/// What is known of a place before a connection to it is made.
enum class Nearness {
    Far,      ///< elsewhere, or who knows where: a name but "localhost"
    Near,     ///< an address of the loopback (127.0.0.0/8, ::1, also as ::ffff:127.0.0.1), or a Unix socket
    Connected ///< "localhost": where it is connected to tells
};

Nearness NearnessOf(const Place& place);

/// @return whether a socket is connected to an address of the loopback.
bool LeadsToLoopback(int fd) noexcept;

} // namespace httpclient::engine
