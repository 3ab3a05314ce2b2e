// SPDX-License-Identifier: Apache-2.0
// A host that ends while a thread of the library's starts. ACE's code, which comes first there, uses what ACE's clean-up
// destroys.
// StartExitHost worker: that of an asynchronous send; a handler of exit() sends, too, when the gate is closed
// StartExitHost pool: the pool's, which another thread makes
// StartExitHost late: none, though another thread sends for the first time when ACE's clean-up is about to begin
#include <atomic>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>

#include <pthread.h>
#include <unistd.h>

#include <ace/Object_Manager.h>

#include <ovexcommon/TraceClient.h>

#include <httpclient/HttpClient.h>
#include <httpclient/HttpRequest.h>

#include "hosts/Faults.h"
#include "hosts/PoolUse.h"
#include "hosts/TimeOuts.h"
#include "hosts/Waits.h"
#include "interpose/Next.h"

using httpclient::testing::Next;

namespace {

constexpr unsigned int LONGEST_LIFE = 30; // seconds
constexpr int TOO_LATE = 4; ///< the status of a host that did not wait for the thread, or started another

std::atomic<bool> g_holdsStarts{false}; ///< of threads
std::atomic<int> g_starts{0};           ///< that were held
std::atomic<bool> g_isStarted{false};   ///< one of them
std::atomic<bool> g_sendsLate{false};

/// Has a worker started: nobody listens there.
void SendAsynchronously() {
    CHttpClient client;
    client.setDomain("127.0.0.1");
    client.setPort(1);
    CHttpRequest request;
    request.setVerb(HTTPOPERATION_GET);
    request.addRequestHeadEntry("A", "1"); // without any there is a message
    client.asynSendRequest(
        request, [](const CHttpResponse& /*response*/) {}, false);
}

/// Runs after the library's handlers.
void EndUnlessStarted() {
    if (!g_isStarted) {
        _exit(TOO_LATE);
    }
}

void ExitWhileAWorkerStarts() {
    std::atexit([] {
        EndUnlessStarted();
        SendAsynchronously();
        if (g_starts != 1) {
            _exit(TOO_LATE);
        }
    });
    UseThePool(true); // whose thread starts first
    g_holdsStarts = true;
    SendAsynchronously();
}

void ExitWhileThePoolsThreadStarts() {
    std::atexit(&EndUnlessStarted);
    std::thread([] {
        g_holdsStarts = true;
        CHttpConnectionMgr::Instance();
        pause();
    }).detach();
    while (g_starts == 0) {
        PauseShortly();
    }
}

struct Start {
    void* (*function)(void*);
    void* argument;
};

/// Starts when the main thread waits, in exit().
void* StartLate(void* argument) {
    const std::unique_ptr<Start> start(static_cast<Start*>(argument));
    while (!StaysInAWait(getpid())) {
        PauseShortly();
    }
    g_isStarted = true;
    return start->function(start->argument);
}

} // namespace

// These stand before the platform's, ACE's and the C library's.

bool Ovexcommon::TraceClient::checkValid(int /*level*/, int /*module*/) {
    return false; // a pool without a thread is logged
}

int ACE_Object_Manager::fini() {
    static auto* const next = Next<int(ACE_Object_Manager*)>("_ZN18ACE_Object_Manager4finiEv");
    if (g_sendsLate.exchange(false)) { // it is called twice
        std::thread([] {
            g_holdsStarts = true;
            SendAsynchronously();
        }).join();
        if (g_starts != 0) {
            _exit(TOO_LATE);
        }
    }
    return next(this);
}

extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*function)(void*),
                              void* argument) {
    static auto* const next =
        Next<int(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*)>("pthread_create");
    if (!g_holdsStarts) {
        return next(thread, attributes, function, argument);
    }
    auto start = std::make_unique<Start>(Start{function, argument});
    const int result = next(thread, attributes, &StartLate, start.get());
    if (result == 0) {
        static_cast<void>(start.release()); // it is the thread's
    }
    ++g_starts;
    return result;
}

int main(int argc, char** argv) {
    const std::string starting = argc == 2 ? argv[1] : "";
    EndOnFaults();
    EndOnTimeOuts(); // exit() waits for what starts at once
    alarm(LONGEST_LIFE);
    if (starting == "worker") {
        ExitWhileAWorkerStarts();
    } else if (starting == "pool") {
        ExitWhileThePoolsThreadStarts();
    } else if (starting == "late") {
        g_sendsLate = true;
    } else {
        return 2;
    }
    return 0;
}
