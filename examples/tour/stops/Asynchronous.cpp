// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <chrono>
#include <set>

#include <unistd.h>

#include <fmt/format.h>

#include <httpclient/HttpClient.h>
#include <httpclient/HttpRequest.h>

#include "tour/Answers.h"
#include "tour/Stop.h"
#include "tour/Tour.h"

namespace tour {
namespace {

using Clock = std::chrono::steady_clock;

/// How long the server takes for each request, in milliseconds, and for all of them one after the other.
constexpr std::array WAITS = {900, 800, 700, 900, 800, 700};
constexpr int ONE_AFTER_THE_OTHER = 4800;

double MillisecondsSince(Clock::time_point start) {
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

void SendSlowOnes(Tour& tour) {
    const auto client = tour.NewClient(); // may go before the answers come
    for (const int wait : WAITS) {
        const auto request = NewRequest(HTTPOPERATION_GET, fmt::format("/slow/{}", wait));
        client->asynSendRequest(*request, KeepAnswer, false);
    }
}

void ShowThreads(Tour& tour, const std::vector<Answer>& answers) {
    tour.Result(fmt::format("thread {} sent the requests", getpid()));
    std::set<pid_t> threads = {getpid()};
    bool answered = true;
    for (const Answer& answer : answers) {
        tour.Result(fmt::format("thread {} called back: {}  {}", answer.thread, answer.status,
                                answer.body.substr(0, answer.body.find('\n'))));
        threads.insert(answer.thread);
        answered = answered && answer.status == 200;
    }
    tour.Expect("each has its answer", answered);
    tour.ExpectNumber("and each callback ran on a thread of its own", static_cast<double>(answers.size() + 1),
                      static_cast<double>(threads.size()));
}

void ShowAsynchronous(Tour& tour) {
    const auto start = Clock::now();
    SendSlowOnes(tour);
    const double sent = MillisecondsSince(start);
    tour.Result(fmt::format("{} requests under way after {:.1f} ms", WAITS.size(), sent));
    tour.Expect("sending does not wait for an answer", sent < ONE_AFTER_THE_OTHER);

    const std::vector<Answer> answers = WaitForAnswers(WAITS.size());
    const double took = MillisecondsSince(start);
    ShowThreads(tour, answers);
    tour.ExpectNumber("they were under way at the same time, each on a connection of its own",
                      static_cast<double>(WAITS.size()), tour.Connections());
    tour.Note(
        fmt::format("All answers were there after {:.0f} ms; one after the other they take 4800.", took));
    tour.Note("A worker looks after its transfer from time to time, not at once when bytes come in.");
}

const Stop ASYNCHRONOUS(130, "Asynchronous requests are under way side by side, each on a thread of its own",
                        ShowAsynchronous);

} // namespace
} // namespace tour
