// SPDX-License-Identifier: Apache-2.0
#include "scale/FastClock.h"

#include <atomic>
#include <ctime>

#include <pthread.h>

#include "interpose/Next.h"

using httpclient::testing::Next;

namespace {

std::atomic<std::chrono::nanoseconds::rep> g_ahead{0};

timespec Shifted(const timespec& time, std::chrono::nanoseconds by) {
    const auto sum = std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec) + by;
    const auto seconds = std::chrono::floor<std::chrono::seconds>(sum);
    timespec result{};
    result.tv_sec = seconds.count();
    result.tv_nsec = std::chrono::nanoseconds(sum - seconds).count();
    return result;
}

} // namespace

FastClock::~FastClock() {
    g_ahead = 0;
}

void FastClock::Advance(std::chrono::nanoseconds time) {
    g_ahead += time.count();
}

extern "C" {

int clock_gettime(clockid_t clock, timespec* time) noexcept {
    static auto* const next = Next<int(clockid_t, timespec*)>("clock_gettime");
    const int result = next(clock, time);
    if (clock == CLOCK_MONOTONIC && result == 0) {
        *time = Shifted(*time, std::chrono::nanoseconds(g_ahead.load()));
    }
    return result;
}

int pthread_cond_clockwait(pthread_cond_t* condition, pthread_mutex_t* lock, clockid_t clock,
                           const timespec* until) {
    static auto* const next =
        Next<int(pthread_cond_t*, pthread_mutex_t*, clockid_t, const timespec*)>("pthread_cond_clockwait");
    const timespec real =
        clock == CLOCK_MONOTONIC ? Shifted(*until, -std::chrono::nanoseconds(g_ahead.load())) : *until;
    return next(condition, lock, clock, &real);
}

} // extern "C"
