// SPDX-License-Identifier: Apache-2.0
#include "HeldReactor.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <ctime>
#include <string_view>
#include <thread>

#include <sys/epoll.h>

#include <httpclient/testing/Patience.h>

#include "interpose/Next.h"

namespace {

using std::chrono::nanoseconds;

constexpr nanoseconds START = std::chrono::hours(1000);
constexpr int LONGEST_WAIT_MS = 5;

std::atomic<bool> g_held{false};
std::atomic<bool> g_epollRefused{false};
std::atomic<std::int64_t> g_now{0};
std::atomic<std::uint64_t> g_waits{0}; // how often the reactor has begun to wait

// Whether the code at this address is the pool's or ACE's, and not the C++ library's, whose waits stay real.
bool IsOfThePool(void* code) {
    Dl_info info{};
    if (dladdr(code, &info) == 0 || info.dli_fname == nullptr) {
        return false;
    }
    const std::string_view object = info.dli_fname;
    return object.find("libACE") != object.npos || object.find("libhttpclient") != object.npos;
}

} // namespace

HeldReactor::HeldReactor() {
    g_now = START.count();
    g_held = true;
}

HeldReactor::~HeldReactor() {
    g_held = false;
}

void HeldReactor::Advance(std::chrono::milliseconds step) {
    g_now += nanoseconds(step).count();
}

bool HeldReactor::AdvanceAndSettle(std::chrono::milliseconds step) {
    Advance(step);
    return Settle();
}

bool HeldReactor::Settle() {
    // Between the next two beginnings of a wait lies a whole round of the reactor.
    const std::uint64_t enough = g_waits + 2;
    const auto deadline = std::chrono::steady_clock::now() + httpclient::testing::PATIENCE;
    while (g_waits < enough && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return g_waits >= enough;
}

nanoseconds HeldReactor::Now() const {
    return nanoseconds(g_now);
}

RefusedEpoll::RefusedEpoll() {
    g_epollRefused = true;
}

RefusedEpoll::~RefusedEpoll() {
    g_epollRefused = false;
}

extern "C" {

int clock_gettime(clockid_t clock, timespec* result) noexcept {
    static auto* const next = httpclient::testing::Next<int(clockid_t, timespec*)>("clock_gettime");
    if (!g_held || clock != CLOCK_MONOTONIC || !IsOfThePool(__builtin_return_address(0))) {
        return next(clock, result);
    }
    constexpr std::int64_t SECOND = 1'000'000'000;
    const std::int64_t now = g_now;
    result->tv_sec = now / SECOND;
    result->tv_nsec = now % SECOND;
    return 0;
}

int epoll_create(int size) noexcept {
    static auto* const next = httpclient::testing::Next<int(int)>("epoll_create");
    if (g_epollRefused) {
        errno = EMFILE;
        return -1;
    }
    return next(size);
}

int epoll_wait(int epoll, epoll_event* events, int count, int timeout) {
    static auto* const next = httpclient::testing::Next<int(int, epoll_event*, int, int)>("epoll_wait");
    if (!g_held) {
        return next(epoll, events, count, timeout);
    }
    ++g_waits;
    return next(epoll, events, count, timeout < 0 ? LONGEST_WAIT_MS : std::min(timeout, LONGEST_WAIT_MS));
}

} // extern "C"
