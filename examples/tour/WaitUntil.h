// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <stdexcept>
#include <string>
#include <thread>

namespace tour {

/// Looks every few milliseconds whether something holds.
/// @throw std::runtime_error when it does not within half a minute.
template <typename Condition> void WaitUntil(const std::string& what, const Condition& holds) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!holds()) {
        if (std::chrono::steady_clock::now() > end) {
            throw std::runtime_error("waited in vain until " + what);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

} // namespace tour
