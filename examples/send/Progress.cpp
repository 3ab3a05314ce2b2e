// SPDX-License-Identifier: Apache-2.0
#include "send/Progress.h"

#include <algorithm>

#include <fmt/format.h>

namespace sender {
namespace {

constexpr size_t PROGRESS_BAR = 40;
constexpr const char* LINE_START = "\r";
constexpr const char* WIPE_LINE = "\r\033[K";

} // namespace

std::string ProgressBar::Text(std::uint64_t done, std::uint64_t total) {
    const double share =
        total == 0 ? 1.0 : static_cast<double>(std::min(done, total)) / static_cast<double>(total);
    const auto filled = static_cast<size_t>(share * PROGRESS_BAR);
    return fmt::format("[{}{}] {:3}% {}/{}", std::string(filled, '#'),
                       std::string(PROGRESS_BAR - filled, ' '), static_cast<int>(share * 100), done, total);
}

void ProgressBar::Draw(std::uint64_t done) {
    if (m_out != nullptr) {
        *m_out << LINE_START << Text(done, m_total) << std::flush;
        m_drawn = true;
    }
}

ProgressBar::~ProgressBar() {
    if (m_drawn) {
        *m_out << WIPE_LINE << std::flush;
    }
}

} // namespace sender
