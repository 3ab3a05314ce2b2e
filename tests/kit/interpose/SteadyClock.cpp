// SPDX-License-Identifier: Apache-2.0
#include "interpose/SteadyClock.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <ctime>

#include <pthread.h>

#include "interpose/Next.h"

namespace httpclient::testing {

namespace {

constexpr std::int64_t NANOSECONDS = 1'000'000'000;
/// A wait looks at the clock so often: it may have jumped meanwhile.
constexpr std::int64_t SLICE = 5'000'000;

std::atomic<std::int64_t> g_ahead{0};

std::int64_t RealNow() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * NANOSECONDS + now.tv_nsec;
}

} // namespace

void AdvanceSteadyClock(std::chrono::nanoseconds by) {
    g_ahead += by.count();
}

} // namespace httpclient::testing

namespace std::chrono { // NOLINT(cert-dcl58-cpp): to stand before the standard library's is what this is for
inline namespace _V2 {

steady_clock::time_point steady_clock::now() noexcept {
    using namespace httpclient::testing;
    return time_point(nanoseconds(RealNow() + g_ahead));
}

} // namespace _V2
} // namespace std::chrono

extern "C" int pthread_cond_clockwait(pthread_cond_t* condition, pthread_mutex_t* mutex, clockid_t clock,
                                      const timespec* until) {
    using namespace httpclient::testing;
    static auto* const next =
        Next<int(pthread_cond_t*, pthread_mutex_t*, clockid_t, const timespec*)>("pthread_cond_clockwait");
    if (clock != CLOCK_MONOTONIC) {
        return next(condition, mutex, clock, until);
    }
    const std::int64_t wanted = until->tv_sec * NANOSECONDS + until->tv_nsec - g_ahead;
    const std::int64_t slice = std::min(wanted, RealNow() + SLICE);
    const timespec real{slice / NANOSECONDS, slice % NANOSECONDS};
    const int result = next(condition, mutex, clock, &real);
    return result == ETIMEDOUT && slice < wanted ? 0 : result; // it may wake for no reason
}
