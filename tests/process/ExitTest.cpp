// SPDX-License-Identifier: Apache-2.0
// The process ends, whatever the library's threads are amid.
#include <gtest/gtest.h>

#include "hosts/HostRun.h"

TEST(Exit, FindsThePoolsThreadOutsideOfAceAfterAcesCleanUp) {
    ExpectToEndWell(EXIT_HOST, {"plain"});
    ExpectToEndWell(EXIT_HOST, {"tls"});
}

TEST(Exit, LetsALateHandlerEndThePoolAndMakeAnother) {
    ExpectToEndWell(EXIT_HOST, {"finalize"});
}

TEST(Exit, WaitsForNoNameService) {
    ExpectToEndWell(EXIT_HOST, {"resolver"});
}
