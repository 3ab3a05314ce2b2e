// SPDX-License-Identifier: Apache-2.0
/// @file
/// Threads that are ended amid the library's work: pthread_cancel() and pthread_exit().
///
/// The C library ends a thread by an unwinding of its own, which runs destructors like an exception and has
/// to reach the thread's beginning: a handler that swallows it, or a function that is noexcept (as
/// destructors are), ends the process. So what swallows exceptions uses Contained(), and what may be a
/// cancellation point in a destructor stands under a CancellationBlock.
#pragma once

#include <exception>
#include <optional>
#include <utility>

#include <cxxabi.h>
#include <pthread.h>

struct NothingElse {};

// The handlers for the end of a thread refer to no object, which the undefined-behaviour sanitizer minds.

/// Runs some work, and keeps in what it throws, but for the end of the thread and what is let out. The caller
/// does what is to be done about a failure, outside of any handler: within one a thread that is ended could
/// not be unwound.
/// @return whether nothing was thrown.
template <class LetOut = NothingElse, class Work>
__attribute__((no_sanitize("null"))) bool Contained(Work&& work) {
    try {
        std::forward<Work>(work)();
        return true;
    } catch (const LetOut&) {
        throw;
    } catch (const abi::__forced_unwind&) {
        throw;
    } catch (...) {
        return false;
    }
}

/// Runs some work; should its thread be ended amid it, @p tidy runs on the way out.
/// @return what the work does.
template <class Work, class Tidy>
__attribute__((no_sanitize("null"))) auto TidyIfThreadEnds(Work&& work, Tidy&& tidy) {
    try {
        return std::forward<Work>(work)();
    } catch (const abi::__forced_unwind&) {
        std::forward<Tidy>(tidy)();
        throw;
    }
}

/// While it lives, pthread_cancel() of this thread waits: what may not be interrupted half-way, destructors above
/// all, calls functions of the C library that would act on it.
class CancellationBlock {
public:
    CancellationBlock() { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &m_previous); }
    ~CancellationBlock() { pthread_setcancelstate(m_previous, nullptr); }
    CancellationBlock(const CancellationBlock&) = delete;
    CancellationBlock& operator=(const CancellationBlock&) = delete;

    /// @return the state before, to be restored where cancellation is safe.
    int previous() const { return m_previous; }

private:
    int m_previous = PTHREAD_CANCEL_ENABLE;
};

/// A CancellationBlock where the thread is within a handler of the host's: the C++ runtime ends the process when the end of
/// a thread is caught there. For the entrances of what catches it.
class BlockWithinHandler {
public:
    BlockWithinHandler() {
        if (std::current_exception() != nullptr) {
            m_block.emplace();
        }
    }

private:
    std::optional<CancellationBlock> m_block;
};

/// While it lives, a thread may be cancelled as it could before a CancellationBlock.
class CancellationPoint {
public:
    explicit CancellationPoint(const CancellationBlock& block) {
        pthread_setcancelstate(block.previous(), &m_blocked);
    }
    ~CancellationPoint() { pthread_setcancelstate(m_blocked, nullptr); }
    CancellationPoint(const CancellationPoint&) = delete;
    CancellationPoint& operator=(const CancellationPoint&) = delete;

private:
    int m_blocked = PTHREAD_CANCEL_DISABLE;
};
