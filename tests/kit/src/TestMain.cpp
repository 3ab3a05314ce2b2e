// SPDX-License-Identifier: Apache-2.0
// The main function of test executables: nothing goes through a proxy, and nothing may be left behind.
#include <gtest/gtest.h>

#include <httpclient/testing/Environment.h>
#include <httpclient/testing/ResourceListener.h>

#ifdef __SANITIZE_THREAD__
/// OpenSSL is not compiled for the thread sanitizer, which does not see its atomic operations, and takes
/// handshakes of several threads for races.
extern "C" const char* __tsan_default_suppressions() {
    return "called_from_lib:libcrypto.so\ncalled_from_lib:libssl.so\n";
}
#endif

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    httpclient::testing::ClearProxyEnvironment();
    ::testing::UnitTest::GetInstance()->listeners().Append(new httpclient::testing::ResourceListener);
    return RUN_ALL_TESTS();
}
