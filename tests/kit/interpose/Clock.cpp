// SPDX-License-Identifier: Apache-2.0
#include "interpose/Clock.h"

#include <atomic>

#include "interpose/Next.h"

namespace httpclient::testing {

namespace {

std::atomic<bool> g_held{false};
std::atomic<std::time_t> g_now{0};

} // namespace

FakeClock::FakeClock(std::time_t now) {
    g_now = now;
    g_held = true;
}

FakeClock::~FakeClock() {
    g_held = false;
}

void FakeClock::Set(std::time_t now) {
    g_now = now;
}

void FakeClock::Advance(std::time_t seconds) {
    g_now += seconds;
}

std::time_t FakeClock::Now() const {
    return g_now;
}

std::time_t RealTime() {
    static auto* const next = Next<std::time_t(std::time_t*)>("time");
    return next(nullptr);
}

} // namespace httpclient::testing

extern "C" std::time_t time(std::time_t* result) noexcept {
    using namespace httpclient::testing;
    const std::time_t now = g_held ? g_now.load() : RealTime();
    if (result != nullptr) {
        *result = now;
    }
    return now;
}
