// SPDX-License-Identifier: Apache-2.0
#include "Results.h"

#include <algorithm>

#include "../Text.h"

namespace {

/// @return the figures that any peer has at a work.
std::vector<FigureKind> ColumnsOf(const WorkResults& results) {
    std::vector<FigureKind> columns;
    for (const FigureKind& kind : FigureKinds()) {
        if (std::any_of(results.peers.begin(), results.peers.end(),
                        [&](const auto& one) { return one.second.count(kind.name) > 0; })) {
            columns.push_back(kind);
        }
    }
    return columns;
}

std::string TableOf(const WorkResults& results) {
    const std::vector<FigureKind> columns = ColumnsOf(results);
    std::string head = "| |";
    std::string line = "|---|";
    for (const FigureKind& column : columns) {
        head += Text(" %s |", column.title);
        line += "---|";
    }
    std::string rows;
    for (const auto& [peer, figures] : results.peers) {
        rows += "| " + peer + " |";
        for (const FigureKind& column : columns) {
            const auto found = figures.find(column.name);
            rows += found == figures.end() ? " - |" : Text(" %.*f |", column.places, found->second);
        }
        rows += "\n";
    }
    return "\n### " + results.work.title + "\n\n" + head + "\n" + line + "\n" + rows;
}

std::string TitleOf(const std::string& figure) {
    const auto& kinds = FigureKinds();
    return std::find_if(kinds.begin(), kinds.end(),
                        [&](const FigureKind& kind) { return figure == kind.name; })
        ->title;
}

std::string Row(const Work& work, const Reached& reached) {
    const Goal& goal = reached.goal;
    return "| " + work.title + " | " + goal.peer + " | " + goal.to + " | " + TitleOf(goal.figure) +
           Text(" | %.2f of %.2f | %s\n", reached.value, goal.most, reached.Missed() ? "missed |" : "|");
}

std::string Beginning(const Work& work) {
    return Text(R"( {"work": "%s", "in_flight": %zu, "title": "%s", )", work.name.c_str(), work.inFlight,
                work.title.c_str());
}

std::string JsonObject(const Work& work, const std::string& peer, const Figures& figures) {
    std::string object = Beginning(work) + R"("peer": ")" + peer + '"';
    for (const FigureKind& kind : FigureKinds()) {
        const auto found = figures.find(kind.name);
        if (found != figures.end()) {
            object += Text(R"(, "%s": %.*f)", kind.name, kind.places, found->second);
        }
    }
    return object + "}";
}

std::string JsonObject(const Work& work, const Reached& reached) {
    const Goal& goal = reached.goal;
    return Beginning(work) + R"("goal_of": ")" + goal.peer + R"(", "to": ")" + goal.to + R"(", "figure": ")" +
           TitleOf(goal.figure) +
           Text(R"(", "value": %.3f, "goal": %.2f, "missed": %s})", reached.value, goal.most,
                reached.Missed() ? "true" : "false");
}

} // namespace

std::string AsTable(const std::vector<WorkResults>& works) {
    std::string table;
    std::string goals;
    for (const WorkResults& results : works) {
        table += TableOf(results);
        for (const Reached& reached : results.goals) {
            goals += Row(results.work, reached);
        }
    }
    return goals.empty()
               ? table
               : table + "\n## Goals\n\n| | of | to | figure | | |\n|---|---|---|---|---|---|\n" + goals;
}

std::string AsJson(const std::vector<WorkResults>& works) {
    std::string json;
    const auto add = [&](const std::string& object) { json += (json.empty() ? "" : ",\n") + object; };
    for (const WorkResults& results : works) {
        for (const auto& [peer, figures] : results.peers) {
            add(JsonObject(results.work, peer, figures));
        }
        for (const Reached& reached : results.goals) {
            add(JsonObject(results.work, reached));
        }
    }
    return "[\n" + json + "\n]\n";
}
