// SPDX-License-Identifier: Apache-2.0
// The demonstration server as a program: something to send to.
#include <csignal>
#include <exception>
#include <memory>
#include <string>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "demo/DemoServer.h"
#include "demo/Upstream.h"

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
    demo::Place place;
    place.port = 8080;
    app.add_option("-p,--port", place.port, "where to listen; 0: a free port")
        ->check(CLI::Range(0, 65535))
        ->capture_default_str();
    app.add_option("--address", place.address, "the same, an address of this machine")->capture_default_str();
    app.add_option(
           "--tls", place.tlsDirectory,
           "HTTPS, for clients with a certificate, with server.cer, server_key.pem and trust.cer of this "
           "directory: the test-server that ovex-tls lays out")
        ->type_name("DIRECTORY");
    std::string upstream;
    app.add_option("--upstream", upstream,
                   "a server that it calls itself: /upstream/PATH gets PATH of it, and /metrics says for "
                   "Prometheus how the calls went")
        ->type_name("ORIGIN");
    CLI11_PARSE(app, argc, argv);

    try {
        const EndOfProgram end;
        demo::DemoServer::MorePages more;
        if (!upstream.empty()) {
            more = [&](httplib::Server& pages, int) { demo::AddUpstream(pages, upstream); };
        }
        const demo::DemoServer server(place, std::make_shared<demo::Tokens>(), more);
        fmt::print("{}://{}:{}\n{}", place.tlsDirectory.empty() ? "http" : "https", place.address,
                   server.Port(), demo::DemoServer::Index());
        if (more) {
            fmt::print("/upstream/PATH   gets PATH of {}\n"
                       "/metrics         how those calls went, for Prometheus\n",
                       upstream);
        }
        static_cast<void>(std::fflush(stdout));
        end.Wait();
        return 0;
    } catch (const std::exception& problem) {
        fmt::print(stderr, "httpclient-demo: {}\n", problem.what());
        return 1;
    }
}
