// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstdint>
#include <ostream>
#include <string>

namespace sender {

/// How often whoever waits for answers draws anew how far they have come.
inline constexpr std::chrono::milliseconds REDRAW_EVERY{100};

/// A line that shows how far a long run has come, redrawn in place and wiped at the end.
class ProgressBar {
public:
    /// @param out where to draw; null: nowhere.
    ProgressBar(std::ostream* out, std::uint64_t total) : m_out(out), m_total(total) {}
    ~ProgressBar();
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    void Draw(std::uint64_t done);

    /// The text of the bar: "[#####     ]  50% 10/20".
    static std::string Text(std::uint64_t done, std::uint64_t total);

private:
    std::ostream* m_out;
    std::uint64_t m_total;
    bool m_drawn = false;
};

} // namespace sender
