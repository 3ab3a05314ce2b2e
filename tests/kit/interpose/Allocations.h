// SPDX-License-Identifier: Apache-2.0
/// @file
/// Counts allocations and makes them fail: link httpclient_interpose_new for operator new,
/// httpclient_interpose_malloc for malloc(), calloc() and realloc() of C code.
#pragma once

#include <cstddef>
#include <new>

#include "interpose/Tally.h"

namespace httpclient::testing {

/// While it lives, counts what the thread which made it allocates with operator new, and can make that fail
/// with std::bad_alloc (or null, for the nothrow forms). One per thread at a time.
class CountedNew {
public:
    /// @param failing which allocation fails, counted from 1; 0 for none.
    /// @param howMany whether it fails alone, or all that come after it, too.
    explicit CountedNew(std::size_t failing = 0, Failing howMany = Failing::One);
    ~CountedNew();
    CountedNew(const CountedNew&) = delete;
    CountedNew& operator=(const CountedNew&) = delete;

    /// How many there were, those that failed included.
    std::size_t Count() const;

    /// @return whether allocations are held at all: memcheck puts its own operator new in the place of every other.
    static bool Works();
};

/// The same for malloc(), calloc() and realloc(), which fail with null and ENOMEM. Operator new goes through malloc()
/// and counts, too.
class CountedMalloc {
public:
    explicit CountedMalloc(std::size_t failing = 0, Failing howMany = Failing::One);
    ~CountedMalloc();
    CountedMalloc(const CountedMalloc&) = delete;
    CountedMalloc& operator=(const CountedMalloc&) = delete;

    std::size_t Count() const;
};

/// @return how often an operation calls operator new on this thread.
template <class Operation> std::size_t AllocationsOf(const Operation& operation) {
    const CountedNew counted;
    operation();
    return counted.Count();
}

/// Runs an operation, one of whose calls of operator new on this thread fails.
/// @param failing which one, counted from 1.
/// @return whether the operation ended by itself, and not by std::bad_alloc.
template <class Operation> bool SurvivesFailureOf(std::size_t failing, const Operation& operation) {
    const CountedNew counted(failing);
    try {
        operation();
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

} // namespace httpclient::testing
