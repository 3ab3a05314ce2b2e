// SPDX-License-Identifier: Apache-2.0
#include <chrono>
#include <future>
#include <stdexcept>
#include <vector>

#include <fmt/format.h>

#include <httpclient/HttpClient.h>
#include <httpclient/HttpConnectionMgr.h>
#include <httpclient/HttpRequest.h>
#include <httpclient/HttpResponse.h>

#include "tour/Stop.h"
#include "tour/Tour.h"
#include "tour/WaitUntil.h"

namespace tour {
namespace {

using Clock = std::chrono::steady_clock;

/// Sends on a thread of its own. @return the status to come.
std::future<int> SendBeside(const Tour& tour, const std::string& path) {
    return std::async(std::launch::async, [client = tour.NewClient(), path] {
        CHttpResponse response;
        return client->synSendRequest(*NewRequest(HTTPOPERATION_GET, path), response, false);
    });
}

constexpr int CONNECTIONS = 4;
constexpr std::chrono::milliseconds IN_TIME{800};

/// Leaves so many connections idle in the pool.
void MakeConnections(const Tour& tour) {
    std::vector<std::future<int>> answers;
    for (int made = 0; made < CONNECTIONS; ++made) {
        answers.push_back(SendBeside(tour, "/slow/100")); // long enough to be under way together
    }
    for (auto& answer : answers) {
        answer.get();
    }
}

/// Starts a new pool, whose thread looks around after a second and then every 20, and gets ready what it is
/// to find: idle connections, and one in use. @return the request that uses it.
std::future<int> Prepare(Tour& tour) {
    for (int tries = 0; tries < 5; ++tries) {
        CHttpConnectionMgr::Finalize();
        const auto start = Clock::now();
        MakeConnections(tour);
        const int idle = tour.OpenConnections();
        auto underWay = SendBeside(tour, "/slow/1500");
        CHttpConnectionMgr::Instance()->SetRlsTime(0); // seconds; 30 unless set
        if (Clock::now() - start < IN_TIME) {
            tour.Result(fmt::format("open connections: {}, all of them idle", idle));
            tour.ExpectNumber("four requests at a time leave four connections", CONNECTIONS, idle);
            return underWay;
        }
        underWay.get(); // this machine is busy: once more
    }
    throw std::runtime_error("this machine is too busy");
}

void ShowRelease(Tour& tour) {
    auto underWay = Prepare(tour);
    const int made = tour.Connections();
    tour.Note(
        "The release time is set to 0, a request is sent that takes a while, and the pool's thread looks "
        "around:");
    WaitUntil("idle connections are closed", [&] { return tour.OpenConnections() <= 1; });
    tour.ShowLog();
    tour.Result(fmt::format("open connections: {}, with the request on it", tour.OpenConnections()));
    tour.ExpectNumber("the idle ones are closed, the one in use is not", 1, tour.OpenConnections());
    tour.ExpectNumber("its request is answered", 200, underWay.get());
    tour.ExpectNumber("on one of the four", made, tour.Connections());
}

void ShowNewPool(Tour& tour) {
    const int made = tour.Connections();
    CHttpConnectionMgr::Finalize();
    tour.Note("CHttpConnectionMgr::Finalize() ends the pool; the next request makes a new one:");
    WaitUntil("the last connection is closed", [&] { return tour.OpenConnections() == 0; });
    tour.ExpectNumber("it is answered", 200,
                      tour.SendUnseen(*tour.NewClient(), *NewRequest(HTTPOPERATION_GET, "/bytes/1")).status);
    tour.ExpectNumber("on a new connection", made + 1, tour.Connections());
}

void ShowIdleConnections(Tour& tour) {
    ShowRelease(tour);
    ShowNewPool(tour);
}

const Stop IDLE_CONNECTIONS(150, "Connections that stay idle are closed, those in use are not",
                            ShowIdleConnections);

} // namespace
} // namespace tour
