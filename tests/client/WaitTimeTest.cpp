// SPDX-License-Identifier: Apache-2.0
// Milliseconds as a wait, capped.
#include <climits>
#include <ostream>
#include <string>

#include <gtest/gtest.h>

#include "client/AsyncOperation.h"

namespace {

struct WaitTimeRow {
    const char* name;
    long ms;
    long seconds;
    long microseconds;
};

// What a time value holds beforehand, to see what is left untouched.
constexpr long OLD_SECONDS = 7;
constexpr long OLD_MICROSECONDS = 123;

class WaitTime : public ::testing::TestWithParam<WaitTimeRow> {};

void PrintTo(const WaitTimeRow& row, std::ostream* out) {
    *out << row.name;
}

std::string WaitName(const ::testing::TestParamInfo<WaitTimeRow>& row) {
    return row.param.name;
}

} // namespace

TEST_P(WaitTime, IsCappedAtOneSecondFromTwoSecondsUp) {
    timeval tv{OLD_SECONDS, OLD_MICROSECONDS};
    InitTimeStruct(GetParam().ms, tv);
    EXPECT_EQ(tv.tv_sec, GetParam().seconds);
    EXPECT_EQ(tv.tv_usec, GetParam().microseconds);
}

INSTANTIATE_TEST_SUITE_P(Milliseconds, WaitTime,
                         ::testing::Values(WaitTimeRow{"Smallest", LONG_MIN, OLD_SECONDS, OLD_MICROSECONDS},
                                           WaitTimeRow{"Minus5", -5, OLD_SECONDS, OLD_MICROSECONDS},
                                           WaitTimeRow{"Minus1", -1, OLD_SECONDS, OLD_MICROSECONDS},
                                           WaitTimeRow{"0", 0, 0, 0},            //
                                           WaitTimeRow{"1", 1, 0, 1000},         //
                                           WaitTimeRow{"999", 999, 0, 999000},   //
                                           WaitTimeRow{"1000", 1000, 1, 0},      //
                                           WaitTimeRow{"1999", 1999, 1, 999000}, //
                                           WaitTimeRow{"2000", 2000, 1, OLD_MICROSECONDS},
                                           WaitTimeRow{"2001", 2001, 1, OLD_MICROSECONDS},
                                           WaitTimeRow{"2500", 2500, 1, OLD_MICROSECONDS},
                                           WaitTimeRow{"Largest", LONG_MAX, 1, OLD_MICROSECONDS}),
                         WaitName);
