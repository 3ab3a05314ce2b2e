// SPDX-License-Identifier: Apache-2.0
// The counted program: it does one kind of work, and in each round sends N and then 2N requests, with an end
// of phase after each, so that the difference between the two is what N requests cost and nothing else. Each
// work has a process of its own: how much the allocator does depends on what was allocated before.
#include <cstdio>
#include <cstdlib>
#include <future>

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
    for (int i = 0; i < count; ++i) {
        if (send() != 200) {
            return false;
        }
    }
    return true;
}

/// Sends requests and ends the phase. Not inlined, so that its name can be given to callgrind.
/// @return the allocations, -1 when a request failed.
[[gnu::noinline]] long CountedPhase(const SendOne& send, int count) {
    const size_t before = AllocationCount();
    const bool sent = Send(send, count);
    const size_t after = AllocationCount();
    CostPhaseEnds();
    return sent ? static_cast<long>(after - before) : -1;
}

bool Count(const SendOne& send, int requests) {
    if (!Send(send, WARM_UP)) {
        return false;
    }
    CostPhaseEnds();
    for (int round = 0; round < ROUNDS; ++round) {
        const long once = CountedPhase(send, requests);
        const long twice = CountedPhase(send, 2 * requests);
        if (once < 0 || twice < 0) {
            return false;
        }
        std::printf("%ld %ld\n", once, twice);
    }
    return true;
}

} // namespace

int main(int argc, char** argv) {
    const int requests = argc == 4 ? static_cast<int>(std::strtol(argv[2], nullptr, 10)) : 0;
    if (requests < 1) {
        std::fprintf(stderr, "usage: %s <work> <N> <port>\n", argv[0]);
        return 2;
    }
    // A host has threads, and the C library does more in a process that has; the floor must not do without.
    std::promise<void> end;
    const auto thread = std::async(std::launch::async, [&end] { end.get_future().wait(); });
    const bool counted =
        Count(MakeWork(argv[1], static_cast<std::uint16_t>(std::strtol(argv[3], nullptr, 10))), requests);
    end.set_value();
    if (!counted) {
        std::fprintf(stderr, "%s: a request failed\n", argv[1]);
    }
    return counted ? 0 : 1;
}
