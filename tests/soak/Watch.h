// SPDX-License-Identifier: Apache-2.0
/// @file
/// What both long runs do while the traffic goes on, and what they say of it.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "Samples.h"

/// A run that is watched.
struct Watched {
    int seconds = 0;
    int restarts = 0;                        ///< of the servers: in all, and one a minute at least
    std::function<void()> restart;           ///< restarts them
    std::function<std::uint64_t()> failures; ///< how many there were so far, for whatever reason
    std::function<void(const Sample&)> show; ///< shows how far it is; called only where someone can look on
    std::function<void(int second)> look;    ///< what else is done each second; may be null
};

/// Samples every second until the time is over, and restarts the servers now and then.
Samples Watch(const Watched& run);

/// Says what is not kept.
class Requirements {
public:
    void Require(bool kept, const std::string& promise);
    /// Requires that nothing grew after the warm-up.
    void RequireFlat(const Samples& samples);
    /// Requires that nothing of a run is left over.
    void RequireNothingLeft(const Sample& before, const Sample& after);
    bool allKept() const { return m_allKept; }

private:
    bool m_allKept = true;
};
