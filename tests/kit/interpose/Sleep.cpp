// SPDX-License-Identifier: Apache-2.0
#include "interpose/Sleep.h"

#include <mutex>
#include <shared_mutex>
#include <utility>

#include "interpose/Next.h"

namespace httpclient::testing {

namespace {

struct Held {
    std::shared_mutex gate; // shared by the sleepers, whole for beginning and end
    bool held = false;
    HeldSleep::Hook hook;
    std::mutex mutex; // guards calls
    std::vector<HeldSleep::Call> calls;
};

Held& TheHeld() {
    static auto* const held = new Held; // never destroyed: threads may sleep until the process ends
    return *held;
}

/// @return whether the sleep was held.
bool Hold(const timespec& wanted) {
    Held& held = TheHeld();
    const std::shared_lock<std::shared_mutex> lock(held.gate);
    if (!held.held) {
        return false;
    }
    const HeldSleep::Call call{wanted.tv_sec, wanted.tv_nsec, std::this_thread::get_id()};
    {
        const std::lock_guard<std::mutex> recording(held.mutex);
        held.calls.push_back(call);
    }
    if (held.hook) {
        held.hook(call);
    }
    return true;
}

} // namespace

HeldSleep::HeldSleep(Hook hook) {
    const std::unique_lock<std::shared_mutex> lock(TheHeld().gate);
    TheHeld().calls.clear();
    TheHeld().hook = std::move(hook);
    TheHeld().held = true;
}

HeldSleep::~HeldSleep() {
    const std::unique_lock<std::shared_mutex> lock(TheHeld().gate);
    TheHeld().held = false;
    TheHeld().hook = nullptr;
}

std::vector<HeldSleep::Call> HeldSleep::Calls() const {
    const std::lock_guard<std::mutex> lock(TheHeld().mutex);
    return TheHeld().calls;
}

} // namespace httpclient::testing

extern "C" int nanosleep(const timespec* wanted, timespec* remaining) {
    using namespace httpclient::testing;
    static auto* const next = Next<int(const timespec*, timespec*)>("nanosleep");
    return Hold(*wanted) ? 0 : next(wanted, remaining);
}
