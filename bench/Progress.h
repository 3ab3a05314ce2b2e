// SPDX-License-Identifier: Apache-2.0
/// @file
/// How far a comparison is.
#pragma once

#include <cstddef>
#include <cstdio>
#include <string>

#include <unistd.h>

/// A bar on a terminal; nothing elsewhere.
class Progress {
public:
    explicit Progress(std::size_t all) : m_all(all), m_bShown(isatty(STDERR_FILENO) != 0) {}
    void Next(const std::string& what) {
        Show(what);
        ++m_done;
    }
    void Finish() const {
        Show("");
        if (m_bShown) {
            std::fprintf(stderr, "\n");
        }
    }

private:
    void Show(const std::string& what) const {
        constexpr std::size_t WIDTH = 30;
        const std::size_t filled = m_all == 0 ? WIDTH : m_done * WIDTH / m_all;
        if (m_bShown) {
            std::fprintf(stderr, "\r[%s%s] %zu/%zu %-60.60s", std::string(filled, '#').c_str(),
                         std::string(WIDTH - filled, ' ').c_str(), m_done, m_all, what.c_str());
        }
    }

    std::size_t m_all;
    std::size_t m_done = 0;
    bool m_bShown;
};
