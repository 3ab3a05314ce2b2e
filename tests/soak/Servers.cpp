// SPDX-License-Identifier: Apache-2.0
#include "Servers.h"

#include <csignal>
#include <limits>
#include <stdexcept>
#include <utility>

#include <unistd.h>

#include "tests/support/Pipe.h"

using namespace httpclient::testing;

namespace {

/// How long after a restart a request that was under way may still fail.
constexpr std::chrono::seconds AFTERMATH{3};

} // namespace

Servers::Servers(std::string address, std::string directory)
    : m_address(std::move(address)), m_directory(std::move(directory)) {
    Start();
}

Servers::~Servers() {
    Kill();
}

void Servers::Start() {
    Pipe announced;
    Command serve;
    serve.words = {"/proc/self/exe", "serve", m_address, m_directory};
    for (const int port : m_ports) {
        serve.words.push_back(std::to_string(port));
    }
    serve.output = announced.toWrite.get();
    m_child = StartCommand(serve);
    announced.toWrite.Close();
    // The whole array comes in one write, or the process ends and nothing comes.
    decltype(m_ports) ports{};
    if (read(announced.toRead.get(), ports.data(), sizeof ports) != sizeof ports) {
        throw std::runtime_error("the servers do not start");
    }
    if (ports != m_ports) { // only at the first start, before there is traffic that reads them
        m_ports = ports;
    }
    m_calmFrom = (Clock::now() + AFTERMATH).time_since_epoch().count();
}

void Servers::Kill() {
    m_calmFrom = std::numeric_limits<Clock::rep>::max();
    m_child.End(SIGKILL);
}

void Servers::Restart() {
    Kill();
    Start();
}

bool Servers::Disturbed() const {
    return Clock::now().time_since_epoch().count() < m_calmFrom;
}
