// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

struct ssl_st;

namespace demo {

/// @param ssl a TLS connection; null for one without TLS.
/// @return the name in the certificate that the other side has presented, as "CN=somebody"; "" without one.
std::string PeerName(const ssl_st* ssl);

} // namespace demo
