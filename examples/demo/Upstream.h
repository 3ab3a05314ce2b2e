// SPDX-License-Identifier: Apache-2.0
/// @file
/// The demonstration server as a service that calls another one, and shows how its client does.
#pragma once

#include <string>

namespace httplib {
class Server;
}

namespace demo {

/// Adds two pages: /upstream/PATH gets PATH of another server through httpclient::Client, and /metrics is the page
/// that Prometheus reads.
/// @param origin of the other server, "http://127.0.0.1:8080".
/// @throw std::invalid_argument for a bad origin.
void AddUpstream(httplib::Server& server, const std::string& origin);

} // namespace demo
