// SPDX-License-Identifier: Apache-2.0
/// @file
/// Counts allocations and makes them fail: link httpclient_interpose_new for operator new,
/// httpclient_interpose_malloc for malloc(), calloc() and realloc() of C code.
#pragma once

#include <cstddef>
#include <new>

#include "interpose/Tally.h"

namespace httpclient::testing {

struct OperatorNew {
    static Tally& OfThisThread();
};

struct CMemory {
    static Tally& OfThisThread();
};

/// Counts operator new, which fails with std::bad_alloc (or null, in the nothrow forms).
class CountedNew : public Counted<OperatorNew> {
public:
    using Counted::Counted;
    /// @return whether allocations are held at all: memcheck puts its own operator new in the place of every other.
    static bool Works();
};

/// Counts malloc(), calloc() and realloc(), which fail with null and ENOMEM. Operator new goes through malloc() and
/// counts, too.
using CountedMalloc = Counted<CMemory>;

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
