// SPDX-License-Identifier: Apache-2.0
#include "Ceilings.h"

#include <cstdio>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace {

// Ratios and counts are printed, and so written down, to three places.
constexpr double ROUNDING = 0.0005;

struct Ceiling {
    std::string measure;
    std::string release;
    std::string debug;
};

/// @return false for a line that holds none.
bool Read(const std::string& line, Ceiling& ceiling) {
    std::istringstream words(line);
    if (!(words >> ceiling.measure) || ceiling.measure[0] == '#') {
        return false;
    }
    if (!(words >> ceiling.release >> ceiling.debug)) {
        throw std::runtime_error("a ceiling is incomplete: " + line);
    }
    return true;
}

bool Check(const std::string& measure, double ceiling, const Measures& measures) {
    const auto found = measures.find(measure);
    if (found == measures.end()) {
        throw std::runtime_error("a ceiling for a measure that there is not: " + measure);
    }
    const bool below = found->second <= ceiling + ROUNDING;
    std::printf("  %-32s %10.3f  of at most %10.3f  %s\n", measure.c_str(), found->second, ceiling,
                below ? "ok" : "TOO MUCH");
    return below;
}

} // namespace

bool CheckCeilings(const std::string& path, const std::string& buildType, const Measures& measures,
                   const std::function<bool(const std::string& measure)>& counted) {
    std::ifstream file(path);
    if (!file) {
        throw std::runtime_error("cannot read " + path);
    }
    bool allBelow = true;
    Ceiling ceiling;
    for (std::string line; std::getline(file, line);) {
        if (!Read(line, ceiling) || !counted(ceiling.measure)) {
            continue;
        }
        const std::string& text = buildType == "Debug" ? ceiling.debug : ceiling.release;
        if (text != "-") {
            allBelow &= Check(ceiling.measure, std::stod(text), measures);
        }
    }
    return allBelow;
}
