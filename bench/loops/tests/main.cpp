// SPDX-License-Identifier: Apache-2.0
// Without the watch over threads that other tests have: some peers leave threads of their own behind.
#include <gtest/gtest.h>

#include <httpclient/testing/Environment.h>

#include "../../Descriptors.h"

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    httpclient::testing::ClearProxyEnvironment();
    RaiseDescriptorLimit();
    return RUN_ALL_TESTS();
}
