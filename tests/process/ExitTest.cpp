// SPDX-License-Identifier: Apache-2.0
// The process ends, whatever the library's threads are amid.
#include <vector>

#include <gtest/gtest.h>

#include <httpclient/testing/Environment.h>

#include "hosts/HostRun.h"

using httpclient::testing::ScopedEnvironment;

TEST(Exit, FindsThePoolsThreadOutsideOfAceAfterAcesCleanUp) {
    ExpectToEndWell(EXIT_HOST, {"plain"});
    ExpectToEndWell(EXIT_HOST, {"tls"});
}

TEST(Exit, IsNoCancellationPoint) {
    ExpectToEndWell(EXIT_HOST, {"cancelled"});
}

TEST(Exit, LetsALateHandlerEndThePoolAndMakeAnother) {
    ExpectToEndWell(EXIT_HOST, {"finalize"});
}

TEST(Exit, CalledByTheLogOrTheCipherMayBringAHandlerThatEndsThePool) {
    std::vector<const char*> places{"pool thread", "limit", "cipher"};
#ifndef __SANITIZE_ADDRESS__ // this one leaves no descriptors, which the sanitizer needs
    places.push_back("making");
#endif
    for (const char* place : places) {
        ExpectToEndWell(LOG_HOST, {place});
    }
}

// It destroys a client that no block of code owns, while the pool has the connection of its send.
TEST(Exit, CalledByTheLogAmidASendLeavesTheConnectionToThePool) {
    for (const char* place : {"static client", "own client"}) {
        ExpectToEndWell(LOG_HOST, {place});
    }
}

TEST(Exit, CalledByTheLogWaitsForNoCallbackThatWantsAConnection) {
    ExpectToEndWell(CALLBACK_EXIT_HOST, {"connection"});
}

TEST(Exit, CalledByACallbackLetsALateHandlerSend) {
    ExpectToEndWell(CALLBACK_EXIT_HOST, {"handler"});
}

TEST(Exit, ClosesNothingOfACallbackThatIsCancelledAmidASend) {
    ExpectToEndWell(CALLBACK_EXIT_HOST, {"cancelled"});
}

TEST(Exit, WaitsForAWorkerThatStartsAndHasNoOtherStart) {
    ExpectToEndWell(START_EXIT_HOST, {"worker"});
}

TEST(Exit, WaitsForThePoolsThreadThatStarts) {
    ExpectToEndWell(START_EXIT_HOST, {"pool"});
}

TEST(Exit, HasNoThreadStartAmidAcesCleanUp) {
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "the library's static mutexes are destroyed by then, which the sanitizer reports";
#endif
    ExpectToEndWell(START_EXIT_HOST, {"late"});
}

TEST(Exit, WaitsUntilWhatIsKeptForAnEndingWorkerIsDestroyed) {
    ExpectToEndWell(CALLBACK_EXIT_HOST, {"ending"});
}

TEST(Exit, HasAWorkerStayThatComesToItsEndLater) {
    ExpectToEndWell(CALLBACK_EXIT_HOST, {"late"});
}

// A plain connection of the pool does TLS where the URL says so, or a proxy.
TEST(Exit, HasNoSweepCloseAPlainConnectionLater) {
    ExpectToEndWell(EXIT_HOST, {"sweep"});
}

TEST(Exit, OfAChildForkedAmidASweepWaitsForNoSweep) {
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "a forked child may start no thread under the thread sanitizer";
#endif
    // What the sweep held belongs to a thread that the child does not have.
    const ScopedEnvironment sanitizer("ASAN_OPTIONS", "detect_leaks=0");
    ExpectToEndWell(EXIT_HOST, {"forked"});
}

TEST(Exit, OfAChildForkedAmidACallbacksSendWaitsForNothing) {
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "a forked child may start no thread under the thread sanitizer";
#endif
    const ScopedEnvironment sanitizer("ASAN_OPTIONS", "detect_leaks=0"); // as above
    ExpectToEndWell(CALLBACK_EXIT_HOST, {"forked"});
}

// A worker that gives its connection back after Finalize() makes another pool.
TEST(Exit, LeavesTheMutexOfThePoolToWorkers) {
    ExpectToEndWell(EXIT_HOST, {"lock"});
}

TEST(Exit, WaitsForNoNameService) {
    ExpectToEndWell(EXIT_HOST, {"resolver"});
}

TEST(Forking, AmidTheFirstUseOfThePoolLetsTheChildUseIt) {
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "a forked child may start no thread under the thread sanitizer";
#endif
    ExpectToEndWell(EXIT_HOST, {"first"});
}

TEST(Forking, WaitsUntilThePoolsThreadHasLogged) {
    ExpectToEndWell(LOG_HOST, {"forking"});
}

TEST(Forking, WaitsForNoThreadOfThePoolThatHasEndedInTheLog) {
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "the sanitizer reports what ACE does as its thread ends, and that nobody has joined that";
#endif
    ExpectToEndWell(LOG_HOST, {"ending"});
}
