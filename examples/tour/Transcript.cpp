// SPDX-License-Identifier: Apache-2.0
#include "tour/Transcript.h"

#include <cstdio>

#include <fmt/format.h>

namespace tour {
namespace {

constexpr int LINES_SHOWN = 18;
constexpr size_t COLUMNS_SHOWN = 100;

void Line(const char* label, const std::string& text) {
    fmt::print("  {:<8} {}\n", label, text);
}

std::string Shortened(const std::string& line) {
    return line.size() <= COLUMNS_SHOWN ? line : line.substr(0, COLUMNS_SHOWN) + " …";
}

std::string WithoutReturn(std::string line) {
    if (!line.empty() && line.back() == '\r') {
        line.pop_back();
    }
    return line;
}

} // namespace

std::string Visible(const std::string& bytes) {
    std::string text;
    for (const char c : bytes) {
        if (c == '\r' || c == '\n') {
            text += c == '\r' ? "\\r" : "\\n";
        } else if (c >= ' ' && c <= '~') {
            text += c;
        } else {
            text += fmt::format("\\x{:02x}", static_cast<unsigned char>(c));
        }
    }
    return text;
}

void Transcript::Heading(int number, const std::string& promise) {
    fmt::print("\n{}. {}\n", number, promise);
}

void Transcript::Note(const std::string& text) {
    Line("", text);
}

void Transcript::Asked(const std::string& text) {
    Line("asked", Visible(text));
}

void Transcript::Wire(char mark, const std::string& bytes) {
    int lines = 0;
    for (size_t start = 0; start < bytes.size();) {
        const size_t end = std::min(bytes.find('\n', start), bytes.size());
        if (++lines > LINES_SHOWN) {
            fmt::print("         {} … {} bytes more\n", mark, bytes.size() - start);
            return;
        }
        fmt::print("         {} {}\n", mark,
                   Shortened(Visible(WithoutReturn(bytes.substr(start, end - start)))));
        start = end + 1;
    }
}

void Transcript::Logged(const std::string& line) {
    Line("logged", line);
}

void Transcript::Result(const std::string& text) {
    Line("result", text);
}

void Transcript::Checked(const std::string& what, bool holds) {
    ++(holds ? m_checks.kept : m_checks.broken);
    Line(holds ? "kept" : "BROKEN", what);
    static_cast<void>(std::fflush(stdout));
}

void Transcript::Add(const Tally& checks) {
    m_checks.kept += checks.kept;
    m_checks.broken += checks.broken;
}

bool Transcript::Close(size_t stops) {
    const auto& [kept, broken] = m_checks;
    if (broken == 0) {
        fmt::print("\n{} stops, {} promises, all of them kept.\n", stops, kept);
    } else {
        fmt::print("\n{} stops, {} promises kept, {} BROKEN.\n", stops, kept, broken);
    }
    return broken == 0;
}

} // namespace tour
