// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <new>
#include <string>

#include <gtest/gtest.h>

#include "interpose/Allocations.h"
#include "message/charset/CodeSetConverter.h"

using httpclient::testing::CountedNew;
using httpclient::testing::Failing;

namespace {

enum class Outcome { Converted, Failed, Threw };

Outcome ConvertWithAllocations(std::size_t allocations, std::string& out) {
    const std::string text(100, '\xC0');
    const CountedNew held(allocations + 1, Failing::AllFrom);
    try {
        const int result =
            ConvertCodeSet("CP1251//IGNORE//TRANSLIT//IGNORE", "UTF-8//IGNORE//IGNORE", text, out);
        return result == -1 ? Outcome::Failed : Outcome::Converted;
    } catch (const std::bad_alloc&) {
        return Outcome::Threw;
    }
}

// Whichever allocation is the one that fails, the output stays as it was, no lock stays taken, and what was
// kept can be used: the next try gets further, until one succeeds.
TEST(CodeSetConverterMemory, RunningOutOfMemoryLeavesLocksAndCacheSound) {
    int failures = 0;
    for (std::size_t allocations = 0; allocations < 50; ++allocations) {
        std::string out = "before";
        if (ConvertWithAllocations(allocations, out) == Outcome::Converted) {
            EXPECT_EQ(out.substr(0, 4), "\xD0\x90\xD0\x90");
            EXPECT_EQ(out.size(), 200U);
            EXPECT_GE(failures, 2); // the cache entry and the buffer, at the least
            return;
        }
        EXPECT_EQ(out, "before") << allocations;
        ++failures;
    }
    ADD_FAILURE() << "no number of allocations was enough";
}

} // namespace
