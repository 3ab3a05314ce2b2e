// SPDX-License-Identifier: Apache-2.0
#include "Works.h"

using namespace std::chrono_literals;

namespace {

Work Steady(std::size_t inFlight) {
    const std::string number = std::to_string(inFlight);
    return {"steady-" + number, "GET 128 B, " + number + " in flight", Manner::Steady, inFlight, 0ms};
}

} // namespace

const std::vector<Work>& AllWorks() {
    static const std::vector<Work> works{
        Steady(1),
        Steady(16),
        Steady(256),
        Steady(4096),
        {"burst-100", "100 at once, answered after 50 ms", Manner::Burst, 100, 50ms},
        {"burst-10000", "10,000 at once, answered after 1 s", Manner::Burst, 10'000, 1s},
        {"burst-10000-anew", "10,000 at once on new connections, answered after 1 s", Manner::BurstAnew,
         10'000, 1s},
        {"cancel-1", "Cancel() to the outcome", Manner::Cancelling, 1, 30s},
        {"cancel-1000", "Cancel() to the outcome, beside 999 calls", Manner::Cancelling, 1'000, 30s},
    };
    return works;
}
