// SPDX-License-Identifier: Apache-2.0
#include "tour/TraceLog.h"

#include <cstdlib>

namespace tour {
namespace {

constexpr const char* PROGRESS = "3"; // the level from which on everything is logged

/// A line is "date time [level] [module] [thread] text".
std::string LevelAndText(const std::string& line) {
    const size_t level = line.find('[');
    const size_t thread = line.find("] [", line.find("] [", level) + 1);
    const size_t text = line.find("] ", thread + 1);
    return text == std::string::npos ? line
                                     : line.substr(level, line.find(']') + 2 - level) + line.substr(text + 2);
}

} // namespace

TraceLog::TraceLog(const std::string& file) : m_file(file) {
    setenv("OVEX_TRACE_FILE", m_file.c_str(), 1);
    setenv("OVEX_TRACE_LEVEL", PROGRESS, 1);
}

bool TraceLog::IsThere() {
    if (!m_stream.is_open()) {
        m_stream.open(m_file);
    }
    return m_stream.is_open();
}

std::vector<std::string> TraceLog::Take() {
    std::vector<std::string> lines;
    if (IsThere()) {
        m_stream.clear(); // there may be more after the end that was met last time
        for (std::string line; std::getline(m_stream, line);) {
            lines.push_back(LevelAndText(line));
        }
    }
    return lines;
}

} // namespace tour
