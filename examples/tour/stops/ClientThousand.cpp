// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <chrono>
#include <filesystem>
#include <future>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include <sys/resource.h>

#include <fmt/format.h>

#include <httpclient/Client.h>
#include <httpclient/Engine.h>

#include "tour/CrowdServer.h"
#include "tour/Stop.h"
#include "tour/Tour.h"

namespace tour {
namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

constexpr std::size_t CALLS = 1000;
constexpr std::chrono::milliseconds PAUSE{500};

std::ptrdiff_t Threads() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/task"), {});
}

/// Both ends of each connection are in this process.
void AllowDescriptors() {
    rlimit files{};
    getrlimit(RLIMIT_NOFILE, &files);
    files.rlim_cur = files.rlim_max;
    setrlimit(RLIMIT_NOFILE, &files);
}

void ShowClientThousand(Tour& tour) {
    AllowDescriptors();
    const CrowdServer server(PAUSE);
    auto engine =
        std::make_unique<httpclient::Engine>(httpclient::EngineOptions().maxConnections(CALLS, CALLS));
    const httpclient::Client client(
        httpclient::ClientOptions("http://127.0.0.1:" + std::to_string(server.Port())), *engine);
    tour.Note(fmt::format("The server answers each request after {} ms; {} are sent at once:", PAUSE.count(),
                          CALLS));

    const auto begun = Clock::now();
    std::vector<std::future<httpclient::Result>> calls;
    for (std::size_t number = 0; number < CALLS; ++number) {
        calls.push_back(client.SendAsync(httpclient::Request(httpclient::Method::Get, "/")));
    }
    const auto answered =
        std::count_if(calls.begin(), calls.end(), [](std::future<httpclient::Result>& call) {
            const httpclient::Result result = call.get();
            return result && result->body() == "here";
        });
    const auto took = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - begun);
    const std::ptrdiff_t threadsMeanwhile = Threads();
    engine.reset(); // its threads end with it
    const std::ptrdiff_t threads = threadsMeanwhile - Threads();
    tour.Result(fmt::format("{} answers after {} ms, with {} threads of the engine's", answered, took.count(),
                            threads));
    tour.ExpectNumber("each has its answer", CALLS, static_cast<double>(answered));
    tour.Expect("one event loop carries them, and a few threads beside it run callbacks and read files",
                threads <= 5);
    tour.Expect("none before its time", took >= PAUSE);
    tour.Expect("they did not wait for each other", took < 10 * PAUSE);
}

const Stop CLIENT_THOUSAND(240, "A thousand calls at once need no thousand threads", ShowClientThousand);

} // namespace
} // namespace tour
