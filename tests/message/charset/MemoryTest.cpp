// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <new>
#include <string>

#include <gtest/gtest.h>

#include "message/CodeSetConverter.h"

namespace {

constexpr int NEVER = -1;
thread_local int t_untilFailure = NEVER;

void CountAllocation() {
    if (t_untilFailure == 0) {
        throw std::bad_alloc();
    }
    if (t_untilFailure > 0) {
        --t_untilFailure;
    }
}

} // namespace

// The linker puts these in place of operator new in the sources that are compiled into this program.
// (Replacing the operators themselves would hide allocations from the tools that watch them.)
// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp): the linker gives the names
extern "C" {

void* __real__Znwm(std::size_t size);
void* __real__Znam(std::size_t size);
void* __wrap__Znwm(std::size_t size);
void* __wrap__Znam(std::size_t size);

void* __wrap__Znwm(std::size_t size) {
    CountAllocation();
    return __real__Znwm(size);
}

void* __wrap__Znam(std::size_t size) {
    CountAllocation();
    return __real__Znam(size);
}

} // extern "C"
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)

namespace {

enum class Outcome { Converted, Failed, Threw };

Outcome ConvertWithAllocations(int allocations, std::string& out) {
    const std::string text(100, '\xC0');
    t_untilFailure = allocations;
    Outcome outcome = Outcome::Threw;
    try {
        const int result =
            ConvertCodeSet("CP1251//IGNORE//TRANSLIT//IGNORE", "UTF-8//IGNORE//IGNORE", text, out);
        outcome = result == -1 ? Outcome::Failed : Outcome::Converted;
    } catch (const std::bad_alloc&) {
    }
    t_untilFailure = NEVER;
    return outcome;
}

// Whichever allocation is the one that fails, the output stays as it was, no lock stays taken, and what was
// kept can be used: the next try gets further, until one succeeds.
TEST(CodeSetConverterMemory, RunningOutOfMemoryLeavesLocksAndCacheSound) {
    int failures = 0;
    for (int allocations = 0; allocations < 50; ++allocations) {
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
