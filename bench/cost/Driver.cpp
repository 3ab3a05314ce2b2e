// SPDX-License-Identifier: Apache-2.0
// The counted program: for each work, and in each round, it sends N and then 2N requests, with an end of
// phase after each, so that the difference between the two is what N requests cost and nothing else.
#include <cstdio>
#include <cstdlib>

#include "AllocationCounter.h"
#include "Plan.h"
#include "Works.h"

/// Where callgrind writes down what it counted since the last time.
extern "C" __attribute__((noinline)) void CostPhaseEnds() {
    __asm__ volatile("");
}

namespace {

constexpr int WARM_UP = 3;

bool Send(const SendOne& send, int count) {
    for (int i = 0; i < count; ++i)
        if (send() != 200)
            return false;
    return true;
}

/// Sends requests and ends the phase. @return the allocations, -1 when a request failed.
long CountedPhase(const SendOne& send, int count) {
    const size_t before = AllocationCount();
    const bool sent = Send(send, count);
    const size_t after = AllocationCount();
    CostPhaseEnds();
    return sent ? static_cast<long>(after - before) : -1;
}

bool Count(const char* work, std::uint16_t port, int requests) {
    const SendOne send = MakeWork(work, port);
    if (!Send(send, WARM_UP))
        return false;
    CostPhaseEnds();
    for (int round = 0; round < ROUNDS; ++round) {
        const long once = CountedPhase(send, requests);
        const long twice = CountedPhase(send, 2 * requests);
        if (once < 0 || twice < 0)
            return false;
        std::printf("%s %ld %ld\n", work, once, twice);
    }
    return true;
}

} // namespace

int main(int argc, char** argv) {
    const int requests = argc > 1 ? std::atoi(argv[1]) : 0;
    if (requests < 1 || static_cast<size_t>(argc) != WORK_NAMES.size() + 2) {
        std::fprintf(stderr, "usage: %s <N> <port>... (%zu ports)\n", argv[0], WORK_NAMES.size());
        return 2;
    }
    for (size_t i = 0; i < WORK_NAMES.size(); ++i) {
        if (!Count(WORK_NAMES[i], static_cast<std::uint16_t>(std::atoi(argv[i + 2])), requests)) {
            std::fprintf(stderr, "%s: a request failed\n", WORK_NAMES[i]);
            return 1;
        }
    }
    return 0;
}
