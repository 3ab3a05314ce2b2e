// SPDX-License-Identifier: Apache-2.0
#include "setting/Secrets.h"

#include <gtest/gtest.h>

#include <httpclient/testing/RecordingTrace.h>

using httpclient::testing::TraceRecorder;

namespace {

constexpr const char* CANARY = "canary";

/// Fails each test that has let a secret slip into the log. Tests start a new log only before they begin.
class SecretsListener : public ::testing::EmptyTestEventListener {
public:
    void OnTestEnd(const ::testing::TestInfo& /*test*/) override {
        EXPECT_EQ(TraceRecorder::Instance().CountContaining(CANARY), 0U) << "the log holds a secret";
    }
};

[[maybe_unused]] const bool LISTENS = [] {
    ::testing::UnitTest::GetInstance()->listeners().Append(new SecretsListener);
    return true;
}();

} // namespace

std::string Secret(const std::string& name) {
    return std::string(CANARY) + "-" + name;
}
