// SPDX-License-Identifier: Apache-2.0
/// @file
/// The threads of a server.
#pragma once

#include <atomic>
#include <list>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <httpclient/testing/LoopbackServer.h>

#include "Listener.h"
#include "StopSignal.h"
#include "Stream.h"
#include "Watched.h"

namespace httpclient::testing {

/// What a server has seen.
struct Sights {
    std::vector<RecordedRequest> requests;
    std::vector<std::string> unfinished;
    std::vector<std::string> failures;
    unsigned int accepted = 0;
    unsigned int open = 0;
};

/// The threads of a server: one listens, and each connection has its own.
class LoopbackServer::Engine {
public:
    Engine(Handler handler, ServerOptions options, std::shared_ptr<StreamOpener> opener);
    ~Engine();
    Engine(const Engine&) = delete;
    Engine& operator=(const Engine&) = delete;

    void Stop();
    const std::string& address() const { return m_options.address; }
    std::uint16_t port() const { return m_listener.port(); }
    const Watched<Sights>& sights() const { return m_sights; }

private:
    /// A connection's thread, and whether it is about to end.
    struct Worker {
        std::atomic<bool> done{false};
        std::thread thread;
    };

    void Listen();
    void Start(Descriptor socket);
    void Work(Descriptor socket, unsigned int connection);
    void Welcome(Descriptor socket, unsigned int connection);
    void Converse(Stream& stream, unsigned int connection);
    Reply Answer(const RecordedRequest& request);
    bool Send(Stream& stream, const Reply& reply) const;
    void Fail(const std::string& what);

    const Handler m_handler;
    const ServerOptions m_options;
    const std::shared_ptr<StreamOpener> m_opener;
    Watched<Sights> m_sights;
    StopSignal m_stop;
    Listener m_listener;
    std::list<Worker> m_workers; // touched by the listening thread, and by Stop() once that has ended
    std::thread m_listening;
};

} // namespace httpclient::testing
