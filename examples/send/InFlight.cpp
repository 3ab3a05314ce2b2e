// SPDX-License-Identifier: Apache-2.0
#include "send/InFlight.h"

#include <algorithm>
#include <array>
#include <condition_variable>
#include <mutex>
#include <utility>

#include <httpclient/HttpClient.h>
#include <httpclient/HttpRequest.h>
#include <httpclient/HttpResponse.h>

namespace sender {
namespace {

using Clock = std::chrono::steady_clock;

struct Place {
    enum State { Free, UnderWay, Unused };

    State state = Unused;
    Clock::time_point start;
};

/// What the callbacks share: they are functions, and have nothing else to find it by.
struct Board {
    std::mutex mutex; ///< guards what follows
    std::condition_variable changed;
    std::array<Place, InFlight::MOST_PLACES> places;
    std::vector<Outcome> outcomes;

    size_t Count(Place::State state) const {
        return static_cast<size_t>(std::count_if(places.begin(), places.end(),
                                                 [=](const Place& place) { return place.state == state; }));
    }
};

/// Never destroyed, so that a callback that comes late still finds it.
Board& g_board = *new Board;

void Arrive(size_t index, const CHttpResponse& response) {
    const Clock::time_point now = Clock::now();
    const std::lock_guard<std::mutex> lock(g_board.mutex);
    Place& place = g_board.places[index];
    if (place.state != Place::UnderWay) {
        return; // it has been given up
    }
    place.state = Place::Free;
    Outcome outcome;
    outcome.time = now - place.start;
    if (response.getStatusCode() > 0) { // 0 is a failed transfer
        outcome.status = response.getStatusCode();
        outcome.TakeOver(response);
    }
    g_board.outcomes.push_back(std::move(outcome));
    g_board.changed.notify_one();
}

using Callback = void (*)(const CHttpResponse&);

template <size_t INDEX> void OnAnswer(const CHttpResponse& response) {
    Arrive(INDEX, response);
}

template <size_t... INDEXES>
constexpr std::array<Callback, sizeof...(INDEXES)> CallbackOfEach(std::index_sequence<INDEXES...>) {
    return {&OnAnswer<INDEXES>...};
}

constexpr auto CALLBACKS = CallbackOfEach(std::make_index_sequence<InFlight::MOST_PLACES>());

/// Takes a free place. @return its callback.
Callback TakePlace() {
    const std::lock_guard<std::mutex> lock(g_board.mutex);
    const auto place = std::find_if(g_board.places.begin(), g_board.places.end(),
                                    [](const Place& each) { return each.state == Place::Free; });
    place->state = Place::UnderWay;
    place->start = Clock::now();
    return CALLBACKS.at(static_cast<size_t>(place - g_board.places.begin()));
}

} // namespace

InFlight::InFlight(size_t places, Duration patience) : m_patience(patience) {
    const std::lock_guard<std::mutex> lock(g_board.mutex);
    for (size_t index = 0; index < places; ++index) {
        g_board.places.at(index).state = Place::Free;
    }
}

bool InFlight::HasPlace() const {
    const std::lock_guard<std::mutex> lock(g_board.mutex);
    return g_board.Count(Place::Free) > 0;
}

size_t InFlight::UnderWay() const {
    const std::lock_guard<std::mutex> lock(g_board.mutex);
    return g_board.Count(Place::UnderWay) + g_board.outcomes.size();
}

void InFlight::Send(CHttpClient& client, const CHttpRequest& request, bool tls) {
    client.asynSendRequest(request, TakePlace(), tls); // which may call back before it returns
}

std::vector<Outcome> InFlight::WaitForOutcomes(Duration atMost) {
    std::unique_lock<std::mutex> lock(g_board.mutex);
    g_board.changed.wait_for(lock, atMost, [] { return !g_board.outcomes.empty(); });
    GiveUpOverdue();
    return std::exchange(g_board.outcomes, {});
}

void InFlight::GiveUpOverdue() {
    const Clock::time_point now = Clock::now();
    for (Place& place : g_board.places) {
        if (place.state == Place::UnderWay && now - place.start > m_patience) {
            place.state = Place::Unused; // its callback may still come, and must not be another request's
            Outcome outcome;
            outcome.time = now - place.start;
            g_board.outcomes.push_back(std::move(outcome));
        }
    }
}

} // namespace sender
