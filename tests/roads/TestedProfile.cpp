// SPDX-License-Identifier: Apache-2.0
// Linked to a suite of the first road, whose tests then run with the tested profile.
#include "TestedProfile.h"

#include <gtest/gtest.h>

namespace {

class TestedProfile final : public ::testing::Environment {
public:
    void SetUp() override { TakeTestedProfile(); }
};

// GoogleTest owns it.
const ::testing::Environment* const TESTED_PROFILE = ::testing::AddGlobalTestEnvironment(new TestedProfile);

} // namespace
