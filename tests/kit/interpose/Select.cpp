// SPDX-License-Identifier: Apache-2.0
#include "interpose/Select.h"

#include <cerrno>
#include <map>
#include <mutex>
#include <optional>

#include <sys/select.h>

#include "interpose/Next.h"

namespace httpclient::testing {

namespace {

/// What a call of select() is to do.
struct Order {
    int error = 0;                       ///< Fail with this errno, unless 0.
    std::optional<unsigned int> divisor; ///< Shorten the time-out.
};

struct Held {
    std::mutex mutex;
    bool held = false;
    std::optional<unsigned int> divisor;
    std::map<std::size_t, int> errors; // by number of the call, counted from 1
    std::vector<HeldSelect::Call> calls;
};

Held& TheHeld() {
    static auto* const held = new Held; // never destroyed: threads may wait until the process ends
    return *held;
}

Order Record(int nfds, const timeval* timeout) {
    Held& held = TheHeld();
    const std::lock_guard<std::mutex> lock(held.mutex);
    if (!held.held) {
        return {};
    }
    held.calls.push_back(
        {nfds, timeout != nullptr, timeout != nullptr ? *timeout : timeval{}, std::this_thread::get_id()});
    const auto error = held.errors.find(held.calls.size());
    return Order{error != held.errors.end() ? error->second : 0, held.divisor};
}

timeval Divided(const timeval& whole, unsigned int divisor) {
    if (divisor == 0) {
        return {};
    }
    constexpr long MICROSECONDS = 1000000;
    const long microseconds = (whole.tv_sec * MICROSECONDS + whole.tv_usec) / static_cast<long>(divisor);
    return {microseconds / MICROSECONDS, microseconds % MICROSECONDS};
}

} // namespace

HeldSelect::HeldSelect() {
    const std::lock_guard<std::mutex> lock(TheHeld().mutex);
    TheHeld().calls.clear();
    TheHeld().calls.reserve(
        1000); // a pause takes no memory: where none is left, select() still does not throw
    TheHeld().errors.clear();
    TheHeld().divisor.reset();
    TheHeld().held = true;
}

HeldSelect::~HeldSelect() {
    const std::lock_guard<std::mutex> lock(TheHeld().mutex);
    TheHeld().held = false;
}

void HeldSelect::Divide(unsigned int divisor) {
    const std::lock_guard<std::mutex> lock(TheHeld().mutex);
    TheHeld().divisor = divisor;
}

void HeldSelect::FailCall(std::size_t n, int error) {
    const std::lock_guard<std::mutex> lock(TheHeld().mutex);
    TheHeld().errors[TheHeld().calls.size() + n] = error;
}

std::vector<HeldSelect::Call> HeldSelect::Calls() const {
    const std::lock_guard<std::mutex> lock(TheHeld().mutex);
    return TheHeld().calls;
}

} // namespace httpclient::testing

extern "C" int select(int nfds, fd_set* readable, fd_set* writable, fd_set* failed, timeval* timeout) {
    using namespace httpclient::testing;
    static auto* const next = Next<int(int, fd_set*, fd_set*, fd_set*, timeval*)>("select");
    const Order order = Record(nfds, timeout);
    if (order.error != 0) {
        errno = order.error;
        return -1;
    }
    if (order.divisor && nfds == 0 && timeout != nullptr) {
        timeval shorter = Divided(*timeout, *order.divisor);
        *timeout = {}; // as Linux leaves it when the time is over
        return next(0, nullptr, nullptr, nullptr, &shorter);
    }
    return next(nfds, readable, writable, failed, timeout);
}
