// SPDX-License-Identifier: Apache-2.0
#include "message/CodeSetConverter.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <new>
#include <string>

namespace {

constexpr int kNever = -1;
thread_local int t_untilFailure = kNever;

void* Allocate(std::size_t size) {
    if (t_untilFailure == 0)
        throw std::bad_alloc();
    if (t_untilFailure > 0)
        --t_untilFailure;
    if (void* memory = std::malloc(size == 0 ? 1 : size))
        return memory;
    throw std::bad_alloc();
}

} // namespace

void* operator new(std::size_t size) {
    return Allocate(size);
}

void* operator new[](std::size_t size) {
    return Allocate(size);
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete[](void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}

void operator delete[](void* memory, std::size_t) noexcept {
    std::free(memory);
}

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
    t_untilFailure = kNever;
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
            EXPECT_GE(failures, 3);
            return;
        }
        EXPECT_EQ(out, "before") << allocations;
        ++failures;
    }
    ADD_FAILURE() << "no number of allocations was enough";
}

} // namespace
