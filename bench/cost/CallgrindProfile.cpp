// SPDX-License-Identifier: Apache-2.0
#include "CallgrindProfile.h"

#include <cctype>
#include <cstdlib>
#include <fstream>
#include <stdexcept>

namespace {

bool StartsWith(const std::string& line, const char* text) {
    return line.rfind(text, 0) == 0;
}

/// The names of objects: written out once, "(3) /lib/x.so", and named "(3)" from then on.
class ObjectNames {
public:
    std::string Resolve(const std::string& text) {
        const size_t end = text.find(')');
        const std::string number = text.substr(0, end);
        if (end != std::string::npos && end + 2 < text.size()) {
            m_names[number] = FileName(text.substr(end + 2));
        }
        return m_names[number];
    }

private:
    static std::string FileName(const std::string& path) { return path.substr(path.rfind('/') + 1); }

    std::map<std::string, std::string> m_names;
};

/// A line of costs is a position and a number of instructions.
bool IsCost(const std::string& line) {
    const auto first = static_cast<unsigned char>(line.empty() ? ' ' : line[0]);
    return std::isdigit(first) != 0 || first == '+' || first == '-' || first == '*';
}

long long InstructionsIn(const std::string& line) {
    return std::strtoll(line.c_str() + line.rfind(' ') + 1, nullptr, 10);
}

} // namespace

InstructionsByObject ReadProfile(const std::string& path) {
    std::ifstream file(path);
    if (!file) {
        throw std::runtime_error("callgrind left no dump " + path);
    }
    InstructionsByObject instructions;
    ObjectNames names;
    std::string object;
    std::string line;
    bool inclusive =
        false; // the line below "calls=" tells the callee's cost, which stands with the callee, too
    while (std::getline(file, line)) {
        if (StartsWith(line, "ob=")) {
            object = names.Resolve(line.substr(3));
        } else if (StartsWith(line, "cob=")) {
            names.Resolve(line.substr(4));
        } else if (IsCost(line) && !inclusive) {
            instructions[object] += InstructionsIn(line);
        }
        inclusive = StartsWith(line, "calls=");
    }
    return instructions;
}
