// SPDX-License-Identifier: Apache-2.0
// A host that makes one call between two marks, for a watcher of its system calls: calls-host SCENARIO PORT [AUTHORITY]
#include <cstdio>
#include <cstring>
#include <functional>
#include <map>
#include <string>

#include <unistd.h>

#include <httpclient/Client.h>
#include <httpclient/Engine.h>

using namespace httpclient;
using namespace std::chrono_literals;

namespace {

/// A system call that nothing else makes.
void Mark() {
    static_cast<void>(getppid());
}

std::string g_place;       ///< host and port of the server
std::string g_authorities; ///< a file

Request Get() {
    return {Method::Get, "/"};
}

Client Plain(Engine& engine) {
    return {ClientOptions("http://" + g_place).timeout(20s), engine};
}

Client OverTls(Engine& engine) {
    return {ClientOptions("https://" + g_place)
                .timeout(20s)
                .connectTimeout(20s)
                .tls(TlsOptions().files(g_authorities)),
            engine};
}

bool Answered(const Result& result) {
    if (!result) {
        std::fprintf(stderr, "%s\n", result.failure().message().c_str());
    }
    return static_cast<bool>(result);
}

/// A call between the marks, behind others like it.
bool Between(const Client& client, const Request& request, const std::function<void()>& before = {}) {
    for (int call = 0; call < 2; ++call) {
        if (!Answered(client.Send(request))) {
            return false;
        }
    }
    if (before) {
        before();
    }
    Mark();
    const Result result = client.Send(request);
    Mark();
    return Answered(result);
}

bool BetweenOnLoop(const Client& client, const Request& request, const std::function<void()>& before = {}) {
    for (int call = 0; call < 2; ++call) {
        if (!Answered(client.SendAsync(request).get())) {
            return false;
        }
    }
    if (before) {
        before();
    }
    usleep(20000); // the loop is at rest
    Mark();
    const Result result = client.SendAsync(request).get();
    Mark();
    return Answered(result);
}

Request Upload() {
    return Request(Method::Put, "/")
        .bodySource(
            [] {
                return [left = 3](char* to, std::size_t /*room*/) mutable -> std::ptrdiff_t {
                    std::memset(to, 'x', 10);
                    return left-- > 0 ? 10 : 0;
                };
            },
            std::nullopt);
}

bool RunScenario(const std::string& name) {
    Engine engine;
    const auto closing = [&] { engine.CloseIdleConnections(); };
    const std::map<std::string, std::function<bool()>> scenarios = {
        {"a kept connection", [&] { return Between(Plain(engine), Get()); }},
        {"a kept connection, 16 KiB up",
         [&] { return Between(Plain(engine), Request(Method::Post, "/").body(std::string(16384, 'x'))); }},
        {"a kept connection, a source of three pieces", [&] { return Between(Plain(engine), Upload()); }},
        {"a kept connection, a sink",
         [&] { return Between(Plain(engine), Get().bodySink([](std::string_view) { return true; })); }},
        {"a new connection", [&] { return Between(Plain(engine), Get(), closing); }},
        {"a connection that is not kept",
         [&] { return Between(Plain(engine), Get().header("Connection", "close")); }},
        {"a kept TLS connection", [&] { return Between(OverTls(engine), Get()); }},
        {"a new TLS connection, resumed", [&] { return Between(OverTls(engine), Get(), closing); }},
        {"a kept connection, on the loop", [&] { return BetweenOnLoop(Plain(engine), Get()); }},
        {"a kept connection, 16 KiB up, on the loop",
         [&] {
             return BetweenOnLoop(Plain(engine), Request(Method::Post, "/").body(std::string(16384, 'x')));
         }},
        {"a new connection, on the loop", [&] { return BetweenOnLoop(Plain(engine), Get(), closing); }},
        {"a kept TLS connection, on the loop", [&] { return BetweenOnLoop(OverTls(engine), Get()); }},
        {"a new TLS connection, resumed, on the loop",
         [&] { return BetweenOnLoop(OverTls(engine), Get(), closing); }},
    };
    const auto scenario = scenarios.find(name);
    return scenario != scenarios.end() && scenario->second();
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        return 2;
    }
    g_place = std::string("127.0.0.1:") + argv[2];
    g_authorities = argc > 3 ? argv[3] : "";
    return RunScenario(argv[1]) ? 0 : 1;
}
