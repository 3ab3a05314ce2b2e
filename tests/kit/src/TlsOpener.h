// SPDX-License-Identifier: Apache-2.0
/// @file
/// Makes TLS streams, and counts how that went.
#pragma once

#include <string>
#include <vector>

#include <httpclient/testing/TlsLoopbackServer.h>

#include "OpenSsl.h"
#include "Stream.h"
#include "Watched.h"

namespace httpclient::testing {

/// Makes TLS streams, and counts how that went. Safe from any number of threads.
class TlsOpener : public StreamOpener {
public:
    /// How the handshakes went.
    struct Handshakes {
        std::vector<std::string> subjects; ///< One for each that succeeded.
        std::vector<std::string> failures; ///< Why the others did not.
    };

    explicit TlsOpener(const TlsOptions& options);
    std::unique_ptr<Stream> Open(Descriptor socket, const StopSignal& stop) override;
    const Watched<Handshakes>& handshakes() const { return m_handshakes; }

private:
    ContextPtr m_context;
    Watched<Handshakes> m_handshakes;
};

} // namespace httpclient::testing
