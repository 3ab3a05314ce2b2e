// SPDX-License-Identifier: Apache-2.0
#include "engine/BlockingDriver.h"

#include <algorithm>
#include <atomic>
#include <climits>
#include <cstdint>
#include <memory>
#include <new>
#include <utility>
#include <vector>

#include <cxxabi.h>
#include <poll.h>
#include <pthread.h>

#include "engine/Call.h"
#include "engine/Fork.h"
#include "engine/Parker.h"
#include "support/Cancellation.h"

namespace httpclient::engine {

namespace {

constexpr std::size_t SCRATCH = 32UL * 1024;

/// @return what is left of the time for poll(), rounded up, so that it does not wake too early.
int PollTimeout(net::Time until) {
    if (until == net::Time::max()) {
        return -1;
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - net::Clock::now()).count();
    return static_cast<int>(std::clamp<std::int64_t>(left, 0, INT_MAX));
}

/// A thread's place to wait, and the process that it was made in.
struct OwnedParker {
    std::shared_ptr<Parker> parker;
    std::uint64_t epoch = 0;
};

pthread_key_t g_parkerKey{};
std::atomic<bool> g_hasParkerKey{false};

void MakeParkerKey() {
    if (g_hasParkerKey.load(std::memory_order_relaxed)) {
        return;
    }
    if (pthread_key_create(&g_parkerKey, [](void* own) { delete static_cast<OwnedParker*>(own); }) != 0) {
        throw std::bad_alloc(); // GCOVR_EXCL_LINE: the process has used up its keys
    }
    g_hasParkerKey.store(true, std::memory_order_release);
}

/// This thread's place to wait for what is no descriptor. One is enough: an outer call does not wait while code of the
/// host, run by it, makes another. A forked child makes its own: a thread of the parent's may have been waking this one.
///
/// It is not thread_local, for the C library ends the process where it has no memory to note a destructor.
const std::shared_ptr<Parker>& OwnParker() {
    const std::uint64_t epoch = ForkEpoch();
    if (!g_hasParkerKey.load(std::memory_order_acquire)) {
        MakeBetweenForks(&MakeParkerKey);
    }
    auto* own = static_cast<OwnedParker*>(pthread_getspecific(g_parkerKey));
    if (own == nullptr) {
        auto made = std::make_unique<OwnedParker>();
        if (pthread_setspecific(g_parkerKey, made.get()) != 0) {
            throw std::bad_alloc(); // GCOVR_EXCL_LINE: only where the process has many keys
        }
        own = made.release();
    }
    if (own->epoch != epoch) {
        own->parker = std::make_shared<Parker>();
        own->epoch = epoch;
    }
    return own->parker;
}

/// How this thread waits.
class Waits {
public:
    Waits(Core& core, const CancellationBlock& block) : m_core(core), m_block(block) {}

    void For(const Wait& wait, Call& call) {
        switch (wait.what) {
        case Wait::For::Io: {
            pollfd ready[] = {wait.io, {m_core.endDescriptor(), POLLIN, 0}};
            Poll(ready, std::size(ready), wait.until);
            break;
        }
        case Wait::For::Dial: {
            std::vector<pollfd>& watched = call.watched();
            watched.push_back({m_core.endDescriptor(), POLLIN, 0});
            Poll(watched.data(), watched.size(), wait.until);
            break;
        }
        default:
            Park(wait.until);
        }
    }

private:
    void Poll(pollfd* ready, nfds_t count, net::Time until) {
        const CancellationPoint point(m_block);
        static_cast<void>(
            ::poll(ready, count, PollTimeout(until))); // interrupted or not: the call looks itself
    }

    void Park(net::Time until) {
        const Core::Parked parked(m_core, *OwnParker());
        if (m_core.ended()) {
            return;
        }
        const CancellationPoint point(m_block);
        OwnParker()->Wait(until);
    }

    Core& m_core;
    const CancellationBlock& m_block;
};

Result Drive(Call& call, Waits& waits, const CancellationBlock& block, net::Time now, Scratch scratch) {
    for (;;) {
        const Wait wait = call.Step(now, scratch);
        switch (wait.what) {
        case Wait::For::Done:
            return call.Take();
        case Wait::For::Again:
            break;
        case Wait::For::Host: {
            const CancellationPoint point(block);
            call.RunHost();
            break;
        }
        case Wait::For::Work:
            call.RunWork(now);
            break;
        default:
            waits.For(wait, call);
        }
        now = net::Clock::now();
    }
}

/// Whose call it is.
enum class Caller { Host, Engine };

// What cancels a thread is caught by reference, and has no object. The sanitizer takes that for a mistake.
__attribute__((no_sanitize("null"))) Result Run(Core& core, Caller caller, bool open,
                                                const ClientCore& client, const Request::Body& request,
                                                Scratch scratch) {
    // Cancelled is only what waits and what is the host's: nothing of ours is left half done.
    const CancellationBlock block;
    const net::Time now = net::Clock::now();
    Call call(core, client, request, OwnParker(), now);
    if (!open) {
        call.End(FailureKind::Shutdown, now);
    }
    Waits waits(core, block);
    std::error_code code;
    try {
        if (caller == Caller::Host) {
            call.TellStart();
        }
        return Drive(call, waits, block, now, scratch);
    } catch (abi::__forced_unwind&) {
        throw; // the thread is cancelled
    } catch (...) {
        code = CodeOfCaught();
    }
    return call.TakeExhausted(code);
}

} // namespace

Result RunBlocking(Core& core, bool open, const ClientCore& client, const Request::Body& request) {
    char memory[SCRATCH];
    // cppcheck-suppress legacyUninitvar ; filled before it is read
    return Run(core, Caller::Host, open, client, request, {memory, sizeof(memory)});
}

Result RunOwn(Core& core, const ClientCore& client, const Request::Body& request, Scratch scratch) {
    return Run(core, Caller::Engine, true, client, request, scratch);
}

} // namespace httpclient::engine
