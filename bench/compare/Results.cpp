// SPDX-License-Identifier: Apache-2.0
#include "Results.h"

#include "../Median.h"
#include "../Text.h"

namespace {

Figures Ratio(const Figures& value, const Figures& floor) {
    return {value.perSecond / floor.perSecond, value.p50 / floor.p50, value.cpu / floor.cpu};
}

/// Of none: 0.
Figures Medians(const std::vector<Figures>& rounds) {
    if (rounds.empty()) {
        return {};
    }
    const auto of = [&](double Figures::*field) {
        std::vector<double> values;
        for (const Figures& round : rounds) {
            values.push_back(round.*field);
        }
        return Median(values);
    };
    return {of(&Figures::perSecond), of(&Figures::p50), of(&Figures::cpu)};
}

std::string Row(const Result& result) {
    const auto& [peer, median, ratio] = result;
    if (!median.Measured()) {
        return Text("| %s | - | - | - | - | - | - | %ld |\n", peer.c_str(), median.errors);
    }
    return Text("| %s | %.0f | %.1f | %.1f | %.2f | %.2f | %.2f | %ld |\n", peer.c_str(), median.perSecond,
                median.p50, median.cpu, ratio.perSecond, ratio.p50, ratio.cpu, median.errors);
}

std::string JsonObject(const WorkResults& work, const Result& result) {
    const auto& [peer, median, ratio] = result;
    const std::string names = Text(R"( {"work": "%s", "peer": "%s", "errors": %ld, "title": "%s")",
                                   work.name.c_str(), peer.c_str(), median.errors, work.title.c_str());
    if (!median.Measured()) {
        return names + "}";
    }
    return names +
           Text(R"(, "per_second": %.1f, "p50_us": %.2f, "cpu_us": %.2f, )", median.perSecond, median.p50,
                median.cpu) +
           Text(R"("per_second_to_floor": %.3f, "p50_to_floor": %.3f, "cpu_to_floor": %.3f})",
                ratio.perSecond, ratio.p50, ratio.cpu);
}

bool Missed(const Reached& reached) {
    return reached.cpu > reached.goal.cpu || reached.p50 > reached.goal.p50;
}

std::string JsonObject(const WorkResults& work, const Reached& reached) {
    const auto& [goal, cpu, p50] = reached;
    return Text(R"( {"work": "%s", "goal_of": "%s", "to": "%s", "title": "%s", )", work.name.c_str(),
                goal.contestant.c_str(), goal.to.c_str(), work.title.c_str()) +
           Text(R"("cpu": %.3f, "cpu_goal": %.2f, "p50": %.3f, "p50_goal": %.2f, "missed": %s})", cpu,
                goal.cpu, p50, goal.p50, Missed(reached) ? "true" : "false");
}

std::string Row(const std::string& work, const Reached& reached) {
    const auto& [goal, cpu, p50] = reached;
    return Text("| %s | %s | %s | ", work.c_str(), goal.contestant.c_str(), goal.to.c_str()) +
           Text("%.2f of %.2f | %.2f of %.2f | %s\n", cpu, goal.cpu, p50, goal.p50,
                Missed(reached) ? "missed |" : "|");
}

} // namespace

Figures MedianRatios(const std::vector<Figures>& rounds, const std::vector<Figures>& other) {
    std::vector<Figures> ratios;
    for (size_t i = 0; i < rounds.size(); ++i) {
        if (rounds[i].Measured() && other[i].Measured()) {
            ratios.push_back(Ratio(rounds[i], other[i]));
        }
    }
    return Medians(ratios);
}

Result Summarise(const std::string& peer, const std::vector<Figures>& rounds,
                 const std::vector<Figures>& floor) {
    std::vector<Figures> measured;
    long errors = 0;
    for (const Figures& round : rounds) {
        errors += round.errors;
        if (round.Measured()) {
            measured.push_back(round);
        }
    }
    Result result{peer, Medians(measured), MedianRatios(rounds, floor)};
    result.median.errors = errors;
    return result;
}

std::string AsTable(const std::vector<WorkResults>& works) {
    std::string table;
    std::string goals;
    for (const WorkResults& work : works) {
        table += "\n### " + work.title + "\n\n";
        table += "| | requests/s | p50, us | CPU, us | requests/s : floor | p50 : floor | CPU : floor | "
                 "errors |\n";
        table += "|---|---|---|---|---|---|---|---|\n";
        for (const Result& result : work.results) {
            table += Row(result);
        }
        for (const Reached& reached : work.goals) {
            goals += Row(work.title, reached);
        }
    }
    if (!goals.empty()) {
        table += "\n## Goals\n\n"
                 "| | of | to | CPU | p50 | |\n"
                 "|---|---|---|---|---|---|\n" +
                 goals;
    }
    return table;
}

std::string AsJson(const std::vector<WorkResults>& works) {
    std::string json;
    const auto add = [&](const std::string& object) { json += (json.empty() ? "" : ",\n") + object; };
    for (const WorkResults& work : works) {
        for (const Result& result : work.results) {
            add(JsonObject(work, result));
        }
        for (const Reached& reached : work.goals) {
            add(JsonObject(work, reached));
        }
    }
    return "[\n" + json + "\n]\n";
}
