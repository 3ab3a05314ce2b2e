// SPDX-License-Identifier: Apache-2.0
/// @file
/// Counts allocations and makes them fail: link httpclient_interpose_new for operator new,
/// httpclient_interpose_malloc for malloc(), calloc() and realloc() of C code.
#pragma once

#include <cstddef>

namespace httpclient::testing {

/// While it lives, counts what the thread which made it allocates with operator new, and can make one fail
/// with std::bad_alloc (or null, for the nothrow forms). One per thread at a time.
class CountedNew {
public:
    /// @param failing which allocation fails, counted from 1; 0 for none.
    explicit CountedNew(std::size_t failing = 0);
    ~CountedNew();
    CountedNew(const CountedNew&) = delete;
    CountedNew& operator=(const CountedNew&) = delete;

    /// How many there were, a failed one included.
    std::size_t Count() const;
};

/// The same for malloc(), calloc() and realloc(), which fail with null and ENOMEM. Operator new, unless it is
/// held itself, goes through malloc() and counts, too.
class CountedMalloc {
public:
    explicit CountedMalloc(std::size_t failing = 0);
    ~CountedMalloc();
    CountedMalloc(const CountedMalloc&) = delete;
    CountedMalloc& operator=(const CountedMalloc&) = delete;

    std::size_t Count() const;
};

} // namespace httpclient::testing
