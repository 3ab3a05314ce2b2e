// SPDX-License-Identifier: Apache-2.0
#include "Figures.h"

#include <algorithm>
#include <optional>

#include "../Median.h"

namespace {

constexpr const char* DOOR = "libhttpclient, Client";
constexpr const char* STRICT = "libhttpclient, STRICT";
constexpr const char* CURL = "libcurl, multi with epoll";
constexpr const char* BEAST = "Boost.Beast";
constexpr const char* BARE = "bare epoll loop";

std::optional<double> FigureOf(const Figures& figures, const std::string& name) {
    const auto found = figures.find(name);
    return found == figures.end() ? std::nullopt : std::optional(found->second);
}

/// @return what a goal is about in one round, where there is such a figure.
std::optional<double> ValueOf(const Goal& goal, const RoundsByPeer& rounds, std::size_t round) {
    const auto figureOf = [&](const std::string& peer) -> std::optional<double> {
        const auto found = rounds.find(peer);
        return found == rounds.end() || found->second.size() <= round
                   ? std::nullopt
                   : FigureOf(found->second[round], goal.figure);
    };
    const std::optional<double> value = figureOf(goal.peer);
    if (!value || goal.to.empty()) {
        return value;
    }
    const std::optional<double> other = figureOf(goal.to);
    return other ? std::optional(*value / *other) : std::nullopt;
}

} // namespace

const std::vector<FigureKind>& FigureKinds() {
    static const std::vector<FigureKind> kinds{
        {"per_second", "requests/s", 0}, {"whole_ms", "until the last answer, ms", 1},
        {"cpu_us", "CPU, us", 2},        {"memory_kib", "memory, KiB", 1},
        {"p50_us", "p50, us", 1},        {"p99_us", "p99, us", 1},
        {"errors", "errors", 0},
    };
    return kinds;
}

Figures Medians(const std::vector<Figures>& rounds) {
    std::map<std::string, std::vector<double>> values;
    for (const Figures& round : rounds) {
        for (const auto& [name, value] : round) {
            values[name].push_back(value);
        }
    }
    Figures medians;
    for (const auto& [name, ofAll] : values) {
        medians[name] = Median(ofAll);
    }
    medians["errors"] = 0;
    for (const double errors : values["errors"]) {
        medians["errors"] += errors;
    }
    return medians;
}

const std::vector<Goal>& AllGoals() {
    static const std::vector<Goal> goals{
        {"burst-100", DOOR, "cpu_us", 0.50, CURL},        {"burst-100", DOOR, "cpu_us", 1.00, BEAST},
        {"burst-100", DOOR, "whole_ms", 53, ""},          {"burst-100", STRICT, "cpu_us", 1.10, DOOR},
        {"burst-10000", DOOR, "cpu_us", 1.50, BARE},      {"burst-10000-anew", DOOR, "cpu_us", 1.50, BARE},
        {"burst-10000-anew", DOOR, "memory_kib", 12, ""},
    };
    return goals;
}

std::vector<Reached> GoalsReached(const std::string& work, const RoundsByPeer& rounds) {
    std::size_t most = 0;
    for (const auto& [peer, figures] : rounds) {
        most = std::max(most, figures.size());
    }
    std::vector<Reached> reached;
    for (const Goal& goal : AllGoals()) {
        std::vector<double> values;
        for (std::size_t round = 0; goal.work == work && round < most; ++round) {
            if (const std::optional<double> value = ValueOf(goal, rounds, round)) {
                values.push_back(*value);
            }
        }
        if (!values.empty()) {
            reached.push_back({goal, Median(values)});
        }
    }
    return reached;
}
