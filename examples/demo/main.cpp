// SPDX-License-Identifier: Apache-2.0
// The demonstration server as a program: something to send to.
#include "demo/DemoServer.h"

#include <csignal>
#include <exception>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

namespace {

/// Holds the signals that end a program back from every thread started later, and waits for one.
class EndOfProgram {
public:
    EndOfProgram() {
        sigemptyset(&m_signals);
        sigaddset(&m_signals, SIGINT);
        sigaddset(&m_signals, SIGTERM);
        pthread_sigmask(SIG_BLOCK, &m_signals, nullptr);
    }
    void Wait() const {
        int signal = 0;
        sigwait(&m_signals, &signal);
    }

private:
    sigset_t m_signals{};
};

} // namespace

int main(int argc, char** argv) {
    CLI::App app("A server on 127.0.0.1 to try requests on; Ctrl-C ends it.", "httpclient-demo");
    int port = 8080;
    app.add_option("-p,--port", port, "where to listen; 0: a free port")
        ->check(CLI::Range(0, 65535))
        ->capture_default_str();
    CLI11_PARSE(app, argc, argv);

    try {
        const EndOfProgram end;
        const demo::DemoServer server(port);
        fmt::print("http://127.0.0.1:{}\n{}", server.Port(), demo::DemoServer::Index());
        std::fflush(stdout);
        end.Wait();
        return 0;
    } catch (const std::exception& problem) {
        fmt::print(stderr, "httpclient-demo: {}\n", problem.what());
        return 1;
    }
}
