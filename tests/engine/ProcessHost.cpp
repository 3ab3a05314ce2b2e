// SPDX-License-Identifier: Apache-2.0
// A host process of its own, for what happens once per process: the shared engine, and the end.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <stdexcept>
#include <string>
#include <thread>

#include <unistd.h>

#include <httpclient/Client.h>
#include <httpclient/Engine.h>

using namespace httpclient;
using namespace std::chrono_literals;

namespace {

std::string Told(const Result& result) {
    return result
               ? std::to_string(result->status()) + " " + result->body()
               : ToString(result.failure().kind()) + std::string(" in ") + ToString(result.failure().phase());
}

/// A client that lives until the process ends.
Client& StaticClient(const std::string& origin) {
    static Client client{ClientOptions(origin)};
    return client;
}

void ConfigureFirst(const std::string& origin) {
    const Client client{ClientOptions(origin)}; // making one is no use
    Engine::Configure(EngineOptions().maxConnections(1, 1));
    Engine::Configure(EngineOptions().maxConnections(1, 1).maxWaiting(0)); // the last one counts
    std::string inner;
    const std::string outer = Told(client.Send(Request(Method::Get, "/").onHead([&](const Response&) {
        inner = Told(client.Send({Method::Get, "/"}));
        return true;
    })));
    std::printf("%s; %s\n", outer.c_str(), inner.c_str());
}

template <class Use> void ConfigureAfter(const Use& use) {
    use();
    try {
        Engine::Configure(EngineOptions());
    } catch (const std::logic_error& error) {
        std::printf("%s\n", error.what());
    }
}

void ConfigureBadly() {
    try {
        Engine::Configure(EngineOptions().maxConnections(0, 0));
    } catch (const std::invalid_argument&) {
        std::printf("refused\n");
    }
}

/// Begins a call that does not end, on a thread of its own.
void BeginEndlessCall(const std::string& origin) {
    static std::promise<void> underWay;
    std::thread([origin] {
        const Request request = Request(Method::Get, "/endless").timeout(60s).onHead([](const Response&) {
            underWay.set_value();
            return true;
        });
        static_cast<void>(StaticClient(origin).Send(request));
        std::printf("it ended\n");
    }).detach();
    underWay.get_future().wait();
}

int Run(const std::string& what, const std::string& origin) {
    if (what == "configure-first") {
        ConfigureFirst(origin);
    } else if (what == "configure-after-a-call") {
        ConfigureAfter([&] { static_cast<void>(StaticClient(origin).Send({Method::Get, "/"})); });
    } else if (what == "configure-after-shared") {
        ConfigureAfter([] { Engine::Shared(); });
    } else if (what == "configure-badly") {
        ConfigureBadly();
    } else if (what == "shared") {
        const Client client{ClientOptions(origin)};
        const std::string first = Told(client.Send({Method::Get, "/"}));
        Client other(ClientOptions(origin), Engine::Shared());
        const Result second = other.Send({Method::Get, "/"});
        std::printf(
            "%s; %s%s; %d\n", first.c_str(), Told(second).c_str(),
            second && second->reusedConnection() ? ", reused" : "",
            static_cast<int>(&Engine::Shared() == &Engine::Shared())); // NOLINT(misc-redundant-expression)
    } else if (what == "end-of-main") {
        std::printf("%s\n", Told(StaticClient(origin).Send({Method::Get, "/"})).c_str());
    } else if (what == "return-amid-a-call") {
        BeginEndlessCall(origin);
    } else if (what == "exit-amid-a-call") {
        BeginEndlessCall(origin);
        std::exit(0);
    } else if (what == "quick-exit-amid-a-call") {
        BeginEndlessCall(origin);
        std::fflush(stdout);
        std::quick_exit(0);
    } else if (what == "call-at-exit") {
        static std::string where = origin;
        StaticClient(origin); // ends after what is registered now
        std::atexit([] { std::printf("%s\n", Told(StaticClient(where).Send({Method::Get, "/"})).c_str()); });
    } else {
        return 2;
    }
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    return argc == 3 ? Run(argv[1], argv[2]) : 2;
}
