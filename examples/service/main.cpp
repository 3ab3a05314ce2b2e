// SPDX-License-Identifier: Apache-2.0
// The service's main(), as far as its tests are concerned. One line makes the difference.
#include <gtest/gtest.h>

#include <httpclient/HttpClient.h>

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
#ifdef WITH_THE_LINE
    CHttpClient::setDefaultTransferProfile(HTTPTRANSFERPROFILE_STRICT);
#endif
    return RUN_ALL_TESTS();
}
