// SPDX-License-Identifier: Apache-2.0
#include <utility>

#include <unistd.h>

#include <httpclient/testing/LoopbackServer.h>

#include "ServerEngine.h"
#include "Stream.h"

namespace httpclient::testing {

std::string ProcessLoopbackAddress() {
    // A process id has 22 bits at most. They are spread so that no part is 0 or 255 where that has a meaning.
    const auto pid = static_cast<unsigned int>(getpid());
    return "127." + std::to_string(1 + (pid >> 15U & 0x7FU)) + "." + std::to_string(pid >> 7U & 0xFFU) + "." +
           std::to_string(1 + (pid & 0x7FU));
}

LoopbackServer::LoopbackServer(Handler handler, ServerOptions options)
    : LoopbackServer(std::move(handler), std::move(options), std::make_shared<PlainOpener>(), "http") {}

LoopbackServer::LoopbackServer(Handler handler, ServerOptions options, std::shared_ptr<StreamOpener> opener,
                               std::string scheme)
    : m_engine(std::make_unique<Engine>(std::move(handler), std::move(options), std::move(opener))),
      m_scheme(std::move(scheme)) {}

LoopbackServer::~LoopbackServer() = default;

void LoopbackServer::Stop() {
    m_engine->Stop();
}

const std::string& LoopbackServer::address() const {
    return m_engine->address();
}

std::uint16_t LoopbackServer::port() const {
    return m_engine->port();
}

std::string LoopbackServer::authority() const {
    const bool v6 = address().find(':') != std::string::npos;
    return (v6 ? "[" + address() + "]" : address()) + ":" + std::to_string(port());
}

std::string LoopbackServer::url(const std::string& path) const {
    return m_scheme + "://" + authority() + path;
}

std::vector<RecordedRequest> LoopbackServer::requests() const {
    return m_engine->sights().Look([](const Sights& seen) { return seen.requests; });
}

std::vector<std::string> LoopbackServer::unfinished() const {
    return m_engine->sights().Look([](const Sights& seen) { return seen.unfinished; });
}

std::vector<std::string> LoopbackServer::failures() const {
    return m_engine->sights().Look([](const Sights& seen) { return seen.failures; });
}

unsigned int LoopbackServer::connectionsAccepted() const {
    return m_engine->sights().Look([](const Sights& seen) { return seen.accepted; });
}

unsigned int LoopbackServer::openConnections() const {
    return m_engine->sights().Look([](const Sights& seen) { return seen.open; });
}

bool LoopbackServer::WaitForRequests(std::size_t count, std::chrono::milliseconds timeout) const {
    return m_engine->sights().WaitUntil(
        timeout, [count](const Sights& seen) { return seen.requests.size() >= count; });
}

bool LoopbackServer::WaitForUnfinished(std::size_t count, std::chrono::milliseconds timeout) const {
    return m_engine->sights().WaitUntil(
        timeout, [count](const Sights& seen) { return seen.unfinished.size() >= count; });
}

bool LoopbackServer::WaitForConnections(unsigned int count, std::chrono::milliseconds timeout) const {
    return m_engine->sights().WaitUntil(timeout,
                                        [count](const Sights& seen) { return seen.accepted >= count; });
}

bool LoopbackServer::WaitForOpenConnections(unsigned int count, std::chrono::milliseconds timeout) const {
    return m_engine->sights().WaitUntil(timeout, [count](const Sights& seen) { return seen.open == count; });
}

} // namespace httpclient::testing
