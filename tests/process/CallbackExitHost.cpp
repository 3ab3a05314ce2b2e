// SPDX-License-Identifier: Apache-2.0
// A host that ends while one of its callbacks uses the library:
// CallbackExitHost connection: its log ends it, called under the pool's lock, which the callback waits for
// CallbackExitHost handler: the callback ends it, and a handler of exit() sends
// CallbackExitHost cancelled: the callback's thread is cancelled amid a send when exit() has begun
// CallbackExitHost starting: the thread of a callback starts, and a handler of exit() sends when the gate is closed
// CallbackExitHost ending: the thread of the callback ends, and what is kept for it is destroyed
// CallbackExitHost late: the callback returns when exit() has closed the gate
#include <atomic>
#include <cstdlib>
#include <memory>
#include <string>

#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <curl/curl.h>

#include <ovexcommon/TraceClient.h>

#include <httpclient/HttpClient.h>
#include <httpclient/HttpConnectionMgr.h>
#include <httpclient/HttpRequest.h>
#include <httpclient/HttpResponse.h>

#include "hosts/CancellationPending.h"
#include "hosts/Faults.h"
#include "hosts/PoolUse.h"
#include "hosts/TimeOuts.h"
#include "hosts/Waits.h"
#include "interpose/Next.h"

using httpclient::testing::Next;

namespace {

constexpr unsigned int LONGEST_LIFE = 30; // seconds
constexpr int TOO_LATE = 4;               ///< the status of a host that used OpenSSL when that may be gone

std::atomic<pid_t> g_callback{0};          ///< its thread
std::atomic<bool> g_poolIsHeld{false};     ///< by the thread that exits, which the callback has to wait for
std::atomic<bool> g_isLate{false};         ///< what the library does at exit() is over
std::atomic<bool> g_isTransferring{false}; ///< the callback
std::atomic<bool> g_holdsStarts{false};    ///< of threads
std::atomic<int> g_starts{0};              ///< that were held
std::atomic<bool> g_isStarted{false};      ///< one of them
std::atomic<bool> g_isDestroying{false};   ///< what is kept for the callback's thread
std::atomic<bool> g_isDestroyed{false};

/// Comes back when the main thread waits, for the one that calls this.
void WaitForExitToWait() {
    while (!StaysInAWait(getpid())) {
        PauseShortly();
    }
}

void MakeGet(CHttpRequest& request) {
    request.setVerb(HTTPOPERATION_GET);
    request.addRequestHeadEntry("A", "1"); // without any there is a message
}

/// A host's client. It is kept: callbacks and handlers use it while the process ends.
CHttpClient& Client() {
    static CHttpClient& client = *new CHttpClient;
    return client;
}

void Send() {
    CHttpRequest request;
    MakeGet(request);
    CHttpResponse response;
    Client().synSendRequest(request, response, false);
}

/// Has a callback come: nobody listens there.
void CallBack(void (*callback)(const CHttpResponse&)) {
    Client().setPort(1);
    CHttpRequest request;
    MakeGet(request);
    Client().asynSendRequest(request, callback, false);
}

/// Has a callback want a connection as soon as this thread holds the pool's lock, and exits.
void ExitWhileACallbackWantsAConnection() {
    CallBack([](const CHttpResponse& /*response*/) {
        g_callback = gettid();
        while (!g_poolIsHeld) {
            PauseShortly();
        }
        UseThePool(false);
    });
    while (g_callback == 0) {
        PauseShortly();
    }
    UseThePoolUp();
    _exit(2); // the log has not ended the process
}

/// Has a callback end the process. A handler that runs after the library's uses all that a send uses.
void ExitInACallback() {
    std::atexit(&Send);
    CallBack([](const CHttpResponse& /*response*/) { std::exit(0); });
    pause();
}

/// Ends a callback's thread amid its send as soon as exit() waits for it. What the send leaves is not closed then.
void ExitWhileACallbackIsCancelled() {
    // It runs after the library's, when OpenSSL and ACE may be gone.
    std::atexit([] {
        g_isLate = true;
        while (!StaysInAWait(g_callback)) {
            PauseShortly(); // the thread is still on its way
        }
    });
    CallBack([](const CHttpResponse& /*response*/) {
        g_callback = gettid();
        Send();
    });
    while (!g_isTransferring) {
        PauseShortly();
    }
}

/// Has the process exit before a worker's thread has come to the library's code. ACE's code, which comes first, uses what
/// ACE's clean-up destroys. Once exit() has closed the gate, no thread is started.
void ExitWhileAWorkerStarts() {
    std::atexit([] {
        const bool waited = g_isStarted;
        CallBack([](const CHttpResponse& /*response*/) {});
        if (!waited || g_starts != 1) {
            _exit(TOO_LATE);
        }
    });
    UseThePool(true); // whose thread starts first
    g_holdsStarts = true;
    CallBack([](const CHttpResponse& /*response*/) {});
}

/// Comes back when a callback has come and its thread has ended.
void LetAWorkerEnd() {
    CallBack([](const CHttpResponse& /*response*/) { g_callback = gettid(); });
    while (g_callback == 0 || tgkill(getpid(), g_callback, 0) == 0) {
        PauseShortly();
    }
}

/// Has the process exit while what is kept for a worker is destroyed, as OpenSSL's is, for which exit() has to wait.
void ExitWhileAWorkerEnds() {
    std::atexit([] {
        if (!g_isDestroyed) {
            _exit(TOO_LATE);
        }
    });
    LetAWorkerEnd(); // what is made after all that the library makes is destroyed after it
    static pthread_key_t kept;
    pthread_key_create(&kept, [](void* /*data*/) {
        g_isDestroying = true;
        WaitForExitToWait();
        g_isDestroyed = true;
    });
    CallBack([](const CHttpResponse& /*response*/) { pthread_setspecific(kept, &kept); });
    while (!g_isDestroying) {
        PauseShortly();
    }
    RunWithCancellationPending([] { std::exit(0); });
}

/// Has a callback return when the process exits: its thread has to stay.
void ExitBeforeAWorkerEnds() {
    std::atexit([] {
        g_isLate = true;
        while (!StaysInAWait(g_callback)) {
            if (tgkill(getpid(), g_callback, 0) != 0) {
                _exit(TOO_LATE); // the thread has ended
            }
        }
    });
    CallBack([](const CHttpResponse& /*response*/) {
        g_callback = gettid();
        while (!g_isLate) {
            PauseShortly();
        }
    });
    while (g_callback == 0) {
        PauseShortly();
    }
}

} // namespace

// These stand before the platform's, libcurl's and the C library's.

bool Ovexcommon::TraceClient::checkValid(int /*level*/, int /*module*/) {
    return true;
}

void Ovexcommon::TraceClient::trace(int /*level*/, int /*module*/, const std::string& body) {
    if (g_callback != 0 && body.find("upper limit") != std::string::npos) {
        g_poolIsHeld = true;
        while (!StaysInAWait(g_callback)) {
            PauseShortly();
        }
        std::exit(0);
    }
}

extern "C" CURLcode curl_easy_perform(CURL* handle) {
    static auto* const next = Next<CURLcode(CURL*)>("curl_easy_perform");
    if (gettid() == g_callback) {
        g_isTransferring = true;
        WaitForExitToWait();
        pthread_exit(nullptr); // as a cancellation does
    }
    return next(handle);
}

extern "C" void curl_easy_cleanup(CURL* handle) {
    static auto* const next = Next<void(CURL*)>("curl_easy_cleanup");
    while (gettid() == g_callback && !g_isLate) {
        PauseShortly();
    }
    if (gettid() == g_callback) {
        _exit(TOO_LATE);
    }
    next(handle);
}

namespace {

struct Start {
    void* (*function)(void*);
    void* argument;
};

void* StartWhenExitWaits(void* argument) {
    const std::unique_ptr<Start> start(static_cast<Start*>(argument));
    WaitForExitToWait();
    g_isStarted = true;
    return start->function(start->argument);
}

} // namespace

extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*function)(void*),
                              void* argument) {
    static auto* const next =
        Next<int(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*)>("pthread_create");
    if (!g_holdsStarts) {
        return next(thread, attributes, function, argument);
    }
    ++g_starts;
    auto start = std::make_unique<Start>(Start{function, argument});
    const int result = next(thread, attributes, &StartWhenExitWaits, start.get());
    if (result == 0) {
        static_cast<void>(start.release()); // it is the thread's
    }
    return result;
}

int main(int argc, char** argv) {
    const std::string moment = argc == 2 ? argv[1] : "";
    EndOnFaults();
    EndOnTimeOuts(); // exit() has nothing to wait for, but for what ends at once
    alarm(LONGEST_LIFE);
    HoldCancellationOffAfterHandlers();
    std::atexit([] { CHttpConnectionMgr::Finalize(); });
    if (moment == "connection") {
        ExitWhileACallbackWantsAConnection();
    } else if (moment == "handler") {
        ExitInACallback();
    } else if (moment == "cancelled") {
        ExitWhileACallbackIsCancelled();
    } else if (moment == "starting") {
        ExitWhileAWorkerStarts();
    } else if (moment == "ending") {
        ExitWhileAWorkerEnds();
    } else if (moment == "late") {
        ExitBeforeAWorkerEnds();
    } else {
        return 2;
    }
    return 0;
}
