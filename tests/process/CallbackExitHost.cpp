// SPDX-License-Identifier: Apache-2.0
// A host that ends while one of its callbacks uses the library:
// CallbackExitHost connection: its log ends it, called under the pool's lock, which the callback waits for
// CallbackExitHost handler: the callback ends it, and a handler of exit() sends
// CallbackExitHost cancelled: the callback's thread is cancelled amid a send when exit() has begun
// CallbackExitHost forked: the callback forks amid a send, and another thread of the child ends that
// CallbackExitHost ending: the thread of the callback ends, and what is kept for it is destroyed
// CallbackExitHost late: the callback returns when exit() has closed the gate
#include <atomic>
#include <cstdlib>
#include <string>
#include <thread>

#include <pthread.h>
#include <signal.h>
#include <sys/wait.h>
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
std::atomic<bool> g_forks{false};          ///< the callback is to
std::atomic<pid_t> g_child{-1};            ///< none yet; 0 in the child
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

/// Forks amid a callback's send. No thread of the child is amid a step when it ends. @return its status.
int ForkAmidACallbacksSend() {
    g_forks = true;
    CallBack([](const CHttpResponse& /*response*/) {
        Send();
        if (g_child == 0) {
            std::thread([] { std::exit(0); }).join();
        }
    });
    while (g_child == -1) {
        PauseShortly();
    }
    int status = -1;
    waitpid(g_child, &status, 0);
    return status;
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

// These stand before the platform's and libcurl's.

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
    if (g_forks.exchange(false)) {
        g_child = fork();
        alarm(LONGEST_LIFE);
    }
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
    } else if (moment == "forked") {
        return ForkAmidACallbacksSend() == 0 ? 0 : 1;
    } else if (moment == "ending") {
        ExitWhileAWorkerEnds();
    } else if (moment == "late") {
        ExitBeforeAWorkerEnds();
    } else {
        return 2;
    }
    return 0;
}
