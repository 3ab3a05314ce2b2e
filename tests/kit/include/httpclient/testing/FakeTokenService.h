// SPDX-License-Identifier: Apache-2.0
/// @file
/// A token service that answers what a test tells it to.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <httpclient/testing/TlsLoopbackServer.h>

namespace httpclient::testing {

/// A token service that answers what a test tells it to, over TLS, at "POST /rest/sia/v1/tokens/jwt/sia".
///
/// A well-formed request for a service that has tokens left is answered {"token": ...}; one for an unknown
/// service with status 404, one that is malformed with 400, another method or path with 405 or 404.
///
/// @par Thread Safety
/// Safe from any number of threads, the destructor excepted.
class FakeTokenService {
public:
    /// The port of the platform's token service.
    static constexpr std::uint16_t PORT = 32018;

    /// One request as it came in, answered or not.
    struct Exchange {
        std::string service; ///< Member "domain" of the body; "" when there is none.
        std::string jwt;     ///< Member "jwt" of the body; "" when there is none.
        std::string body;    ///< The body, byte for byte.
    };

    /// @param tls how it does TLS.
    /// @param address where it listens; ProcessLoopbackAddress() keeps tests that run side by side apart.
    /// @param port 0: the kernel picks a free one.
    explicit FakeTokenService(const TlsOptions& tls, const std::string& address = "127.0.0.1",
                              std::uint16_t port = PORT);
    ~FakeTokenService();
    FakeTokenService(const FakeTokenService&) = delete;
    FakeTokenService& operator=(const FakeTokenService&) = delete;

    /// Sets what a service gets: the tokens in order, the last one again and again.
    void SetTokens(const std::string& service, std::vector<std::string> tokens);
    /// Answers the following requests, well-formed or not, with what @p handler says instead; an empty one
    /// ends that.
    void AnswerWith(LoopbackServer::Handler handler);
    /// Answers the following requests with @p reply instead.
    void AnswerWith(const Reply& reply);
    /// Answers by itself again.
    void AnswerNormally();

    /// @return the requests so far, in order.
    std::vector<Exchange> exchanges() const;
    /// @return how many requests came in for this service.
    std::size_t exchangesFor(const std::string& service) const;
    /// Waits until at least @p count requests have come in. @return whether they have.
    bool WaitForExchanges(std::size_t count, std::chrono::milliseconds timeout = PATIENCE) const;

    /// @return the server below, for its bytes and counts.
    const TlsLoopbackServer& server() const;
    /// @return the server below.
    TlsLoopbackServer& server();

private:
    class Desk;
    std::shared_ptr<Desk> m_desk;
    std::unique_ptr<TlsLoopbackServer> m_server;
};

} // namespace httpclient::testing
