// SPDX-License-Identifier: Apache-2.0
#include "http1/GrammarError.h"

#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace httpclient::http1 {
namespace {

using E = GrammarError;

const std::vector<std::pair<FailureKind, std::vector<E>>> KINDS = {
    {FailureKind::InvalidRequest,
     {E::BadMethod, E::BadTarget, E::BadFieldName, E::BadFieldValue, E::ForbiddenField, E::BodyNotAllowed}},
    {FailureKind::Protocol,
     {E::BadLineBreak, E::BadStatusLine, E::BadVersion, E::BadStatus, E::BadField, E::BadFraming, E::BadChunk,
      E::BadTrailer, E::UpgradeRefused, E::TooManyInterim, E::BadContentCoding}},
    {FailureKind::ConnectionLost, {E::EndedEarly, E::NotClosedCleanly}},
    {FailureKind::TooLarge, {E::HeadTooLarge, E::TrailersTooLarge, E::BodyTooLarge}},
};

} // namespace

TEST(GrammarError, EndsACallAsItsKind) {
    for (const auto& [kind, errors] : KINDS) {
        for (const E error : errors) {
            EXPECT_EQ(KindOf(error), kind) << make_error_code(error).message();
        }
    }
}

TEST(GrammarError, HasATextOfItsOwn) {
    std::set<std::string> texts = {make_error_code(static_cast<E>(1000)).message()};
    for (const auto& [kind, errors] : KINDS) {
        for (const E error : errors) {
            const std::string text = make_error_code(error).message();
            EXPECT_TRUE(texts.insert(text).second) << text;
            EXPECT_EQ(text.find('\n'), std::string::npos);
        }
    }
    EXPECT_EQ(texts.size(), static_cast<std::size_t>(E::BodyTooLarge) + 1);
}

TEST(GrammarError, IsAnErrorCodeOfItsCategory) {
    const std::error_code code = E::BadChunk;
    EXPECT_EQ(&code.category(), &GrammarCategory());
    EXPECT_STREQ(code.category().name(), "http");
    EXPECT_EQ(code, E::BadChunk);
    EXPECT_NE(code, E::BadField);
    EXPECT_TRUE(static_cast<bool>(code));
}

} // namespace httpclient::http1
