// SPDX-License-Identifier: Apache-2.0
// Linked to a suite of the first road: with TESTED_PROFILE=STRICT in its environment each client that a test makes has
// the STRICT profile.
#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

#include <httpclient/HttpClient.h>

namespace {

class TestedProfile final : public ::testing::Environment {
public:
    void SetUp() override {
        const char* profile = std::getenv("TESTED_PROFILE");
        if (profile != nullptr && std::string(profile) == "STRICT") {
            CHttpClient::setDefaultTransferProfile(HTTPTRANSFERPROFILE_STRICT);
        }
    }
};

// GoogleTest owns it.
const ::testing::Environment* const g_testedProfile = ::testing::AddGlobalTestEnvironment(new TestedProfile);

} // namespace
