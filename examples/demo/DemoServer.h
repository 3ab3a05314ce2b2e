// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "demo/Tokens.h"

namespace httplib {
class Server;
}

namespace demo {

/// Where a server listens, and whether it speaks TLS.
struct Place {
    std::string address = "127.0.0.1";
    int port = 0; ///< 0 lets the kernel choose a free one
    /// Where server.cer, server_key.pem and trust.cer are: clients have to present a certificate that the
    /// last one vouches for. "" for plain HTTP.
    std::string tlsDirectory;
};

/// An HTTP server that shows what a client can meet.
///
/// Runs on threads of its own from construction to destruction. Close the clients' connections first: the
/// destructor waits for those that are still open (for as long as the keep-alive time-out).
class DemoServer {
public:
    /// Adds pages of its own to a server, which listens at a port by now and answers nobody yet.
    using MorePages = std::function<void(httplib::Server& server, int port)>;

    /// @param tokens those that it gives out and accepts; servers may share them.
    /// @param more pages beside those of the index; may be empty.
    /// @throw std::runtime_error when it cannot listen there.
    explicit DemoServer(const Place& place = {}, std::shared_ptr<Tokens> tokens = std::make_shared<Tokens>(),
                        const MorePages& more = {});
    ~DemoServer();
    DemoServer(const DemoServer&) = delete;
    DemoServer& operator=(const DemoServer&) = delete;

    int Port() const { return m_port; }

    /// The pages that the server has, one a line: what "/" answers.
    static std::string Index();

private:
    std::unique_ptr<httplib::Server> m_server;
    int m_port = 0;
    std::thread m_thread;
};

} // namespace demo
