// SPDX-License-Identifier: Apache-2.0
// What fields mean, whatever the parser before would have made of them.
#include "http1/HeadFacts.h"

#include <gtest/gtest.h>

namespace httpclient::http1 {
namespace {

using E = GrammarError;

} // namespace

TEST(HeadFacts, RefusesLengthsThatDiffer) {
    HeadFacts facts;
    EXPECT_EQ(facts.TakeContentLength("5"), E{});
    EXPECT_EQ(facts.TakeContentLength("5, 05"), E{});
    EXPECT_EQ(facts.length(), 5U);
    EXPECT_EQ(facts.TakeContentLength("6"), E::BadFraming);
    EXPECT_EQ(HeadFacts().TakeContentLength("5, 6"), E::BadFraming);
}

TEST(HeadFacts, TakesLengthsUpToTheLargestSignedNumber) {
    HeadFacts facts;
    EXPECT_EQ(facts.TakeContentLength("9223372036854775807"), E{});
    EXPECT_EQ(facts.length(), 9'223'372'036'854'775'807U);
    EXPECT_EQ(HeadFacts().TakeContentLength("9223372036854775808"), E::BadFraming);
    EXPECT_EQ(HeadFacts().TakeContentLength("18446744073709551616"), E::BadFraming);
}

TEST(HeadFacts, RefusesWhatIsNoNumber) {
    for (const char* value :
         {"", " ", "+5", "-5", "5x", "x5", "0x5", "5.0", ",", "5,", ",5", "5,,5", "5 5", "5;5"}) {
        EXPECT_EQ(HeadFacts().TakeContentLength(value), E::BadFraming) << value;
    }
}

TEST(HeadFacts, TakesChunkedOnceAndNothingElse) {
    HeadFacts facts;
    EXPECT_FALSE(facts.chunked());
    EXPECT_EQ(facts.TakeTransferEncoding("Chunked"), E{});
    EXPECT_TRUE(facts.chunked());
    EXPECT_EQ(facts.TakeTransferEncoding("chunked"), E::BadFraming);
    for (const char* value : {"", "gzip", "gzip, chunked", "chunked, chunked", "identity", "chunked;a=b"}) {
        EXPECT_EQ(HeadFacts().TakeTransferEncoding(value), E::BadFraming) << value;
    }
}

TEST(HeadFacts, RefusesBothFramings) {
    HeadFacts facts;
    EXPECT_EQ(facts.TakeTransferEncoding("chunked"), E{});
    EXPECT_EQ(facts.Check(), E{});
    EXPECT_EQ(facts.TakeContentLength("0"), E{});
    EXPECT_EQ(facts.Check(), E::BadFraming);
}

TEST(HeadFacts, RefusesChunkedOfVersion10) {
    HeadFacts facts;
    facts.version = 10;
    EXPECT_EQ(facts.Check(), E{});
    EXPECT_EQ(facts.TakeTransferEncoding("chunked"), E{});
    EXPECT_EQ(facts.Check(), E::BadFraming);
}

} // namespace httpclient::http1
