// SPDX-License-Identifier: Apache-2.0
#include "Goals.h"

#include "Results.h"

namespace {

constexpr const char* DOOR = "libhttpclient, Client";
constexpr const char* STRICT = "libhttpclient, STRICT";
constexpr const char* DOOR_ASYNC = "libhttpclient, Client asynchronous";
constexpr const char* STRICT_ASYN = "libhttpclient, STRICT asynchronous";
constexpr const char* CURL = "libcurl, minimal loop";
constexpr const char* BEAST = "Boost.Beast";

} // namespace

const std::vector<Goal>& AllGoals() {
    static const std::vector<Goal> goals{
        {"get", DOOR, CURL, 0.36, 0.50},
        {"get", DOOR, BEAST, 1, 1},
        {"get-8", DOOR, CURL, 0.32, 0.45},
        {"get-8", DOOR, BEAST, 1, 1},
        {"post", DOOR, CURL, 0.40, 0.55},
        {"post", DOOR, BEAST, 1, 1},
        {"tls", DOOR, CURL, 0.52, 0.62},
        {"tls", DOOR, BEAST, 1, 1},
        {"connect", DOOR, CURL, 0.52, 0.62},
        {"connect", DOOR, BEAST, 1, 1},
        {"connect-tls-resumed", DOOR, CURL, 0.30, 0.40},
        {"connect-tls-resumed", DOOR, BEAST, 0.60, 0.60},
        {"get-1m", DOOR, CURL, 0.50, 0.50},
        {"get-1m", DOOR, BEAST, 0.70, 0.70},
        {"get", STRICT, DOOR, 1.10, 1.10},
        {"get-8", STRICT, DOOR, 1.10, 1.10},
        {"post", STRICT, DOOR, 1.10, 1.10},
        {"token", STRICT, DOOR, 1.10, 1.10},
        {"tls", STRICT, DOOR, 1.10, 1.10},
        {"connect", STRICT, DOOR, 1.10, 1.10},
        {"connect-tls-resumed", STRICT, DOOR, 1.10, 1.10},
        {"get-1m", STRICT, DOOR, 1.10, 1.10},
        {"get", STRICT_ASYN, DOOR_ASYNC, 1.10, 1.10},
        {"get-8", STRICT_ASYN, DOOR_ASYNC, 1.10, 1.10},
        {"post", STRICT_ASYN, DOOR_ASYNC, 1.10, 1.10},
        {"token", STRICT_ASYN, DOOR_ASYNC, 1.10, 1.10},
        {"tls", STRICT_ASYN, DOOR_ASYNC, 1.10, 1.10},
        {"connect", STRICT_ASYN, DOOR_ASYNC, 1.10, 1.10},
        {"connect-tls-resumed", STRICT_ASYN, DOOR_ASYNC, 1.10, 1.10},
        {"get-1m", STRICT_ASYN, DOOR_ASYNC, 1.10, 1.10},
    };
    return goals;
}

std::vector<Reached> GoalsReached(const std::string& work, const RoundsByName& rounds) {
    std::vector<Reached> reached;
    for (const Goal& goal : AllGoals()) {
        const auto own = rounds.find(goal.contestant);
        const auto other = rounds.find(goal.to);
        if (goal.work != work || own == rounds.end() || other == rounds.end()) {
            continue;
        }
        const Figures ratio = MedianRatios(own->second, other->second);
        if (ratio.Measured()) {
            reached.push_back({goal, ratio.cpu, ratio.p50});
        }
    }
    return reached;
}
