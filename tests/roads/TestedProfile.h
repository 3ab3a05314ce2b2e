// SPDX-License-Identifier: Apache-2.0
/// @file
/// The profile that the tests of the first road run with.
#pragma once

#include <cstdlib>
#include <string>

#include <httpclient/HttpClient.h>

/// With TESTED_PROFILE=STRICT in the environment each client that is made from now on has the STRICT profile.
inline void TakeTestedProfile() {
    const char* const profile = std::getenv("TESTED_PROFILE");
    if (profile != nullptr && std::string(profile) == "STRICT") {
        CHttpClient::setDefaultTransferProfile(HTTPTRANSFERPROFILE_STRICT);
    }
}
