// SPDX-License-Identifier: Apache-2.0
#include "Memory.h"

#include <cstdint>
#include <cstdio>
#include <fstream>
#include <stdexcept>
#include <string_view>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

#include "tests/kit/src/Descriptor.h"

namespace {

constexpr std::size_t PART = 16; // of a secret

struct Area {
    std::uint64_t begin = 0;
    std::uint64_t end = 0;
};

/// What may be read and written.
std::vector<Area> AreasOf(pid_t process) {
    std::ifstream maps("/proc/" + std::to_string(process) + "/maps");
    std::vector<Area> areas;
    for (std::string line; std::getline(maps, line);) {
        Area area;
        char rights[5] = {};
        if (std::sscanf(line.c_str(), "%lx-%lx %4s", &area.begin, &area.end, rights) == 3 &&
            std::string_view(rights).substr(0, 2) == "rw") {
            areas.push_back(area);
        }
    }
    return areas;
}

std::string Read(int file, const Area& area) {
    std::string bytes(area.end - area.begin, '\0');
    for (std::size_t got = 0; got < bytes.size();) {
        const ssize_t more =
            pread(file, bytes.data() + got, bytes.size() - got, static_cast<off_t>(area.begin + got));
        if (more <= 0) {
            throw std::runtime_error("the memory of another process cannot be read");
        }
        got += static_cast<std::size_t>(more);
    }
    return bytes;
}

} // namespace

Memory::Memory(pid_t process) {
    const httpclient::testing::Descriptor file(
        open(("/proc/" + std::to_string(process) + "/mem").c_str(), O_RDONLY | O_CLOEXEC));
    for (const Area& area : AreasOf(process)) {
        m_areas.push_back(Read(file.get(), area));
    }
    if (m_areas.empty()) {
        throw std::runtime_error("another process has no memory");
    }
}

std::size_t Memory::Count(const std::string& secret) const {
    const std::string_view part = std::string_view(secret).substr((secret.size() - PART) / 2, PART);
    std::size_t count = 0;
    for (const std::string& area : m_areas) {
        for (std::size_t at = area.find(part); at != std::string::npos; at = area.find(part, at + 1)) {
            ++count;
        }
    }
    return count;
}
