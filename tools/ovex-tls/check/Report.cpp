// SPDX-License-Identifier: Apache-2.0
#include "check/Report.h"

#include <algorithm>
#include <iomanip>

#include <json/json.h>

#include "ExitCode.h"

namespace {

constexpr int LEVEL_WIDTH = 8;
constexpr int CHECK_WIDTH = 22;

const char* NameOf(Level level) {
    switch (level) {
    case Level::Ok:
        return "ok";
    case Level::Note:
        return "note";
    case Level::Warning:
        return "warning";
    default:
        return "error";
    }
}

/// Names come from files, and a terminal obeys control characters: "?" stands for each of them.
std::string Printable(std::string text) {
    std::replace_if(
        text.begin(), text.end(),
        [](char character) {
            const auto byte = static_cast<unsigned char>(character);
            return byte < 0x20 || byte == 0x7f;
        },
        '?');
    return text;
}

const char* Verdict(int exitCode) {
    switch (exitCode) {
    case EXIT_WELL:
        return "all is well";
    case EXIT_WARNINGS:
        return "a process would work, but look at the warnings";
    default:
        return "a process would not work as it should";
    }
}

} // namespace

std::string Counted(std::size_t count, const std::string& one, const std::string& several) {
    return std::to_string(count) + ' ' + (count == 1 ? one : several);
}

void Report::Add(Level level, const std::string& message, const std::string& consequence) {
    m_findings.push_back({m_check, level, Printable(message), Printable(consequence)});
}

std::size_t Report::Count(Level level) const {
    return static_cast<std::size_t>(
        std::count_if(m_findings.begin(), m_findings.end(),
                      [level](const Finding& finding) { return finding.level == level; }));
}

int Report::ExitCode() const {
    if (Count(Level::Error) > 0) {
        return EXIT_ERRORS;
    }
    return Count(Level::Warning) > 0 ? EXIT_WARNINGS : EXIT_WELL;
}

void Report::WriteText(std::ostream& out) const {
    for (const Finding& finding : m_findings) {
        out << std::left << std::setw(LEVEL_WIDTH) << NameOf(finding.level) << std::setw(CHECK_WIDTH)
            << finding.check << finding.message << '\n';
        if (!finding.consequence.empty()) {
            out << std::setw(LEVEL_WIDTH) << ""
                << "-> " << finding.consequence << '\n';
        }
    }
    out << '\n'
        << Counted(Count(Level::Error), "error", "errors") << ", "
        << Counted(Count(Level::Warning), "warning", "warnings") << ": " << Verdict(ExitCode()) << '\n';
}

void Report::WriteJson(std::ostream& out) const {
    Json::Value root(Json::objectValue);
    root["exitCode"] = ExitCode();
    root["verdict"] = Verdict(ExitCode());
    root["errors"] = Json::UInt64{Count(Level::Error)};
    root["warnings"] = Json::UInt64{Count(Level::Warning)};
    root["findings"] = Json::Value(Json::arrayValue);
    for (const Finding& finding : m_findings) {
        Json::Value entry(Json::objectValue);
        entry["check"] = finding.check;
        entry["level"] = NameOf(finding.level);
        entry["message"] = finding.message;
        entry["consequence"] = finding.consequence;
        root["findings"].append(entry);
    }
    Json::StreamWriterBuilder writer;
    writer["indentation"] = "  ";
    out << Json::writeString(writer, root) << '\n';
}
