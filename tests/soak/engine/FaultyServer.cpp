// SPDX-License-Identifier: Apache-2.0
#include "engine/FaultyServer.h"

#include <csignal>
#include <limits>
#include <stdexcept>

#include <unistd.h>

#include "tests/support/Pipe.h"

using namespace httpclient::testing;

namespace {

/// How long after a restart a call that was under way may still fail.
constexpr std::chrono::seconds AFTERMATH{3};

} // namespace

FaultyServer::FaultyServer() {
    Start();
}

std::string FaultyServer::origin() const {
    return "http://127.0.0.1:" + std::to_string(m_port);
}

void FaultyServer::Start() {
    Pipe announced;
    Command serve;
    serve.words = {"/proc/self/exe", "serve", std::to_string(m_port)};
    serve.output = announced.toWrite.get();
    m_child = StartCommand(serve);
    announced.toWrite.Close();
    int port = 0;
    if (read(announced.toRead.get(), &port, sizeof port) != sizeof port) {
        throw std::runtime_error("the server does not start");
    }
    m_port = port;
    m_calmFrom = (Clock::now() + AFTERMATH).time_since_epoch().count();
}

void FaultyServer::Restart() {
    m_calmFrom = std::numeric_limits<Clock::rep>::max();
    m_child.End(SIGKILL);
    Start();
}

bool FaultyServer::Disturbed() const {
    return Clock::now().time_since_epoch().count() < m_calmFrom;
}
