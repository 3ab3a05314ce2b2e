// SPDX-License-Identifier: Apache-2.0
// A token service that is dead can be told from everything else, by the metrics page and by the log.
#include <httpclient/testing/RecordingTrace.h>

#include "identity/TokenTest.h"
#include "setting/Diagnosis.h"

namespace {

class TokenDiagnosis : public TokenTest {
protected:
    TokenDiagnosis() { kit::TraceRecorder::Instance().Clear(); }
    std::string Told() const { return WhatIsWrong(m_engine->metricsText()); }
};

} // namespace

TEST_F(TokenDiagnosis, OfATokenServiceThatIsWell) {
    EXPECT_EQ(::Told(PlatformClient().Send(Get("/orders"))), "200 answer");
    EXPECT_EQ(Told(), "by the page: nothing, by the log: nothing");
}

TEST_F(TokenDiagnosis, OfATokenServiceThatIsDead) {
    m_service.server().Stop();
    ASSERT_FALSE(PlatformClient().Send(Get("/orders")));
    EXPECT_EQ(Told(), "by the page: tokens, by the log: tokens");
}

TEST_F(TokenDiagnosis, OfATokenServiceThatAnswersWithErrors) {
    m_service.AnswerWith(kit::Respond(503));
    ASSERT_FALSE(PlatformClient().Send(Get("/orders")));
    EXPECT_EQ(Told(), "by the page: tokens, by the log: tokens");
}

TEST_F(TokenDiagnosis, OfATokenServiceThatBreaksConnections) {
    m_service.AnswerWith(kit::Silence(kit::After::Reset));
    ASSERT_FALSE(PlatformClient().Send(Get("/orders")));
    EXPECT_EQ(Told(), "by the page: tokens, by the log: tokens");
}
