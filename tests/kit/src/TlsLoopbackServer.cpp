// SPDX-License-Identifier: Apache-2.0
#include <utility>

#include <httpclient/testing/TlsLoopbackServer.h>

#include "TlsOpener.h"

namespace httpclient::testing {

TlsLoopbackServer::TlsLoopbackServer(Handler handler, const TlsOptions& tls, ServerOptions options)
    : TlsLoopbackServer(std::move(handler), std::make_shared<TlsOpener>(tls), std::move(options)) {}

TlsLoopbackServer::TlsLoopbackServer(Handler handler, std::shared_ptr<TlsOpener> opener,
                                     ServerOptions options)
    : LoopbackServer(std::move(handler), std::move(options), opener, "https"), m_opener(std::move(opener)) {}

TlsLoopbackServer::~TlsLoopbackServer() = default;

unsigned int TlsLoopbackServer::handshakes() const {
    return static_cast<unsigned int>(subjects().size());
}

std::vector<std::string> TlsLoopbackServer::failedHandshakes() const {
    return m_opener->handshakes().Look([](const TlsOpener::Handshakes& all) { return all.failures; });
}

std::vector<std::string> TlsLoopbackServer::subjects() const {
    return m_opener->handshakes().Look([](const TlsOpener::Handshakes& all) { return all.subjects; });
}

bool TlsLoopbackServer::WaitForFailedHandshakes(std::size_t count, std::chrono::milliseconds timeout) const {
    return m_opener->handshakes().WaitUntil(
        timeout, [count](const TlsOpener::Handshakes& all) { return all.failures.size() >= count; });
}

} // namespace httpclient::testing
