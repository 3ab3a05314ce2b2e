// SPDX-License-Identifier: Apache-2.0
/// @file
/// The raw HTTP/1.1 server over TLS.
#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include <httpclient/testing/Certificates.h>
#include <httpclient/testing/LoopbackServer.h>

namespace httpclient::testing {

/// What a TLS server wants of its clients.
enum class ClientCertificate {
    Ignore,  ///< Does not ask for a certificate.
    Request, ///< Asks for one, takes clients without one, refuses a bad one.
    Demand   ///< Refuses clients without a certificate of the client CA.
};

/// The newest TLS version that a server speaks (the oldest is 1.2).
enum class NewestTls { Tls12, Tls13 };

/// How a server does TLS.
struct TlsOptions {
    Identity identity;       ///< The server's own certificate and key.
    std::string clientCaPem; ///< The CA whose client certificates it takes.
    ClientCertificate clientCertificate = ClientCertificate::Demand; ///< What it wants of its clients.
    NewestTls newest = NewestTls::Tls13;                             ///< The newest version that it speaks.
    bool resumption = true; ///< Whether clients may resume their sessions.
};

class TlsOpener;

/// The raw HTTP/1.1 server over TLS. A client certificate's subject stands in each RecordedRequest.
///
/// @note In TLS 1.3 a client may take the handshake for done before the server has refused its certificate.
///
/// @par Thread Safety
/// As LoopbackServer.
class TlsLoopbackServer : public LoopbackServer {
public:
    /// @throw std::system_error when the address cannot be bound.
    /// @throw std::runtime_error when a certificate or key is unusable.
    TlsLoopbackServer(Handler handler, const TlsOptions& tls, ServerOptions options = {});
    ~TlsLoopbackServer() override;

    /// @return how many handshakes succeeded.
    unsigned int handshakes() const;
    /// @return why the other handshakes failed, in OpenSSL's words, in order.
    std::vector<std::string> failedHandshakes() const;
    /// @return the subjects of the client certificates of successful handshakes, in order; ""
    /// for one without.
    std::vector<std::string> subjects() const;
    /// Waits until at least @p count handshakes have failed. @return whether they have.
    bool WaitForFailedHandshakes(std::size_t count, std::chrono::milliseconds timeout = PATIENCE) const;

private:
    explicit TlsLoopbackServer(Handler handler, std::shared_ptr<TlsOpener> opener, ServerOptions options);
    std::shared_ptr<TlsOpener> m_opener;
};

} // namespace httpclient::testing
