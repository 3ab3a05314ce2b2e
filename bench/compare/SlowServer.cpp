// SPDX-License-Identifier: Apache-2.0
#include "SlowServer.h"

#include <chrono>
#include <stdexcept>
#include <string>

#include <unistd.h>

#include <httpclient/testing/LoopbackServer.h>

#include "tests/support/Pipe.h"

using namespace httpclient::testing;

namespace {

constexpr std::chrono::milliseconds HANDLER_TIME{50};

Reply Answer(const RecordedRequest& /*request*/) {
    return Delayed(Respond(200, {{"Content-Type", "text/plain"}}, std::string(128, 'x')), HANDLER_TIME);
}

/// Serves until the process is killed.
void Serve(Pipe& announced) {
    announced.toRead.Close();
    const LoopbackServer server(&Answer);
    const std::uint16_t port = server.port();
    if (write(announced.toWrite.get(), &port, sizeof port) != sizeof port) {
        _exit(1);
    }
    announced.toWrite.Close();
    for (;;) {
        pause();
    }
}

} // namespace

SlowServer::SlowServer() {
    Pipe announced;
    m_process = Fork([&announced] { Serve(announced); });
    announced.toWrite.Close();
    if (read(announced.toRead.get(), &m_port, sizeof m_port) != sizeof m_port) {
        throw std::runtime_error("the slow server does not come up");
    }
}
