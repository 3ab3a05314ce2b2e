// SPDX-License-Identifier: Apache-2.0
#include "Watch.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <thread>
#include <utility>

#include <unistd.h>

Samples Watch(const Watched& run) {
    using Clock = std::chrono::steady_clock;
    const bool shown = isatty(STDERR_FILENO) != 0;
    const int interval = std::min(60, std::max(1, run.seconds / (run.restarts + 1)));
    const auto start = Clock::now();
    Samples samples;
    std::uint64_t failuresBefore = 0;
    for (int second = 1; second <= run.seconds; ++second) {
        std::this_thread::sleep_until(start + std::chrono::seconds(second));
        Sample now = Sample::Now();
        now.second = std::chrono::duration<double>(Clock::now() - start).count();
        const std::uint64_t failures = run.failures();
        now.failures = static_cast<double>(failures - std::exchange(failuresBefore, failures));
        samples.push_back(now);
        if (shown) {
            run.show(now);
        }
        if (run.look) {
            run.look(second);
        }
        if (second % interval == 0 && second < run.seconds - 1) {
            run.restart();
        }
    }
    if (shown) {
        std::fputc('\n', stderr);
    }
    return samples;
}

void Requirements::Require(bool kept, const std::string& promise) {
    if (!kept) {
        std::printf("FAILED: %s\n", promise.c_str());
        m_allKept = false;
    }
}

void Requirements::RequireFlat(const Samples& samples) {
    for (const std::string& growth : FindGrowth(samples)) {
        Require(false, "it stays flat after the warm-up; " + growth);
    }
}

void Requirements::RequireNothingLeft(const Sample& before, const Sample& after) {
    Require(after.descriptors <= before.descriptors + 2,
            "all descriptors are closed in the end"); // log, random
    Require(after.threads <= before.threads, "all threads end");
}
