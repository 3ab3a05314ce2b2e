// SPDX-License-Identifier: Apache-2.0
#include <cerrno>
#include <cstdlib>

#include <gtest/gtest.h>

#include "HeldLibrary.h"
#include "interpose/Allocations.h"

namespace httpclient::testing {

namespace {

TEST(CountedMalloc, CountsWhatALibraryAllocates) {
    std::size_t count = 0;
    bool there = false;
    {
        const CountedMalloc counted;
        const bool first = LibraryMalloc();
        there = first && LibraryMalloc() && LibraryNew();
        count = counted.Count();
    }
    EXPECT_TRUE(there);
    EXPECT_EQ(count, 3U);
}

TEST(CountedMalloc, FailsTheAllocationThatItIsTold) {
    bool first = false;
    bool second = true;
    bool third = true;
    int error = 0;
    {
        const CountedMalloc counted(2);
        first = LibraryMalloc();
        errno = 0;
        second = LibraryMalloc();
        error = errno;
        third = LibraryNew();
    }
    EXPECT_TRUE(first);
    EXPECT_FALSE(second);
    EXPECT_EQ(error, ENOMEM);
    EXPECT_TRUE(third);
}

TEST(CountedMalloc, FailsAllThatComeAfterTheOneThatItIsTold) {
    bool first = false;
    bool second = true;
    bool third = true;
    {
        const CountedMalloc counted(2, Failing::AllFrom);
        first = LibraryMalloc();
        second = LibraryMalloc();
        third = LibraryNew();
    }
    EXPECT_TRUE(first);
    EXPECT_FALSE(second);
    EXPECT_FALSE(third);
    EXPECT_TRUE(LibraryMalloc());
}

TEST(CountedMalloc, HoldsCallocAndReallocToo) {
    void* volatile cleared = nullptr;
    void* volatile grown = nullptr;
    std::size_t count = 0;
    {
        const CountedMalloc counted(3);
        cleared = std::calloc(2, 8);
        grown = std::realloc(cleared, 64);
        cleared = std::realloc(grown, 128);
        count = counted.Count();
    }
    EXPECT_EQ(cleared, nullptr);
    EXPECT_EQ(count, 3U);
    std::free(grown); // NOLINT(clang-analyzer-unix.Malloc): the second realloc() has failed
}

} // namespace

} // namespace httpclient::testing
