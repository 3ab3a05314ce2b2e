// SPDX-License-Identifier: Apache-2.0
/// @file
/// A connection over TLS.
#pragma once

#include <string>

#include "OpenSsl.h"
#include "Stream.h"

namespace httpclient::testing {

/// A connection over TLS.
class TlsStream : public Stream {
public:
    TlsStream(Descriptor socket, const StopSignal& stop, SSL_CTX* context);

    /// Does the server's side of the handshake. @return why it failed; "" when it did not.
    std::string Handshake();
    std::size_t Read(char* buffer, std::size_t size) override;
    bool Write(std::string_view bytes) override;
    void SayGoodbye() override;
    std::string PeerSubject() const override;

private:
    template <class Operation> int Drive(Operation operation);
    std::string Reason() const;

    SslPtr m_ssl;
};

} // namespace httpclient::testing
