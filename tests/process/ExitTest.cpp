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

TEST(Exit, CalledByTheLogOrTheCipherMayBringAHandlerThatEndsThePool) {
    for (const char* place : {"making", "pool thread", "limit", "cipher"}) {
        ExpectToEndWell(LOG_EXIT_HOST, {place});
    }
}

TEST(Exit, CalledByTheLogWaitsForNoCallbackThatWantsAConnection) {
    ExpectToEndWell(LOG_EXIT_HOST, {"callback"});
}

TEST(Exit, CalledByACallbackLetsALateHandlerSend) {
    ExpectToEndWell(LOG_EXIT_HOST, {"exit"});
}

TEST(Forking, WaitsUntilThePoolsThreadHasLogged) {
    ExpectToEndWell(LOG_EXIT_HOST, {"forking"});
}

TEST(Exit, OfAChildForkedAmidASweepWaitsForNoSweep) {
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "a forked child may start no thread under the thread sanitizer";
#endif
    ExpectToEndWell(EXIT_HOST, {"forked"});
}

// A worker that gives its connection back after Finalize() makes another pool.
TEST(Exit, LeavesTheMutexOfThePoolToWorkers) {
    ExpectToEndWell(EXIT_HOST, {"lock"});
}

TEST(Exit, WaitsForNoNameService) {
    ExpectToEndWell(EXIT_HOST, {"resolver"});
}
