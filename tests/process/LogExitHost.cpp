// SPDX-License-Identifier: Apache-2.0
// A host whose log or cipher ends the process, and whose handler of exit() ends the pool:
// LogExitHost making|"pool thread"|limit|cipher
// or whose log ends the process while a callback wants a connection: LogExitHost callback
// or whose callback ends the process, and whose handler of exit() sends: LogExitHost exit
// or whose thread is cancelled in the log while it is within a handler: LogExitHost handler
// or which forks while the pool's thread logs: LogExitHost forking
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <thread>

#include <pthread.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <ovexcommon/TraceClient.h>
#include <vorncipher/VornCipher.h>

#include <httpclient/HttpClient.h>
#include <httpclient/HttpConnectionMgr.h>
#include <httpclient/HttpRequest.h>
#include <httpclient/HttpResponse.h>

#include "hosts/Faults.h"
#include "hosts/Waits.h"
#include "interpose/Next.h"

using httpclient::testing::Next;

namespace {

constexpr unsigned int LONGEST_LIFE = 30; // seconds
constexpr int WAITED = 3;                 ///< the status of a host whose end has waited in vain

std::string g_place; ///< where the process ends

std::atomic<bool> g_logged{false}; ///< by the pool's thread, which takes its time

std::atomic<pid_t> g_callback{0};      ///< its thread
std::atomic<bool> g_poolIsHeld{false}; ///< by the thread that exits, which the callback has to wait for

/// Comes back when the pool's thread waits for a lock: for that which this thread holds.
void LetThePoolsThreadWait() {
    for (;;) {
        PauseShortly();
        for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
            std::ifstream call(thread.path() / "syscall");
            int number = -1;
            if (call >> number && number == SYS_futex) {
                return;
            }
        }
    }
}

void UseThePool(bool tls) {
    CHttpConnectionMgr* const pool = CHttpConnectionMgr::Instance();
    pool->ReleaseConn(pool->GetConn("127.0.0.1", 80, tls));
}

/// Uses all connections of an address up, which is logged.
void UseThePoolUp() {
    CHttpConnectionMgr* const pool = CHttpConnectionMgr::Instance();
    while (pool->GetConn("127.0.0.1", 80, false) != nullptr) {
    }
}

/// A host's client, for a port where nobody listens. It is kept: callbacks and handlers use it while the process ends.
CHttpClient& Client() {
    static CHttpClient& client = *new CHttpClient;
    client.setPort(1);
    return client;
}

void MakeGet(CHttpRequest& request) {
    request.setVerb(HTTPOPERATION_GET);
    request.addRequestHeadEntry("A", "1"); // without any there is a message
}

void CallBack(void (*callback)(const CHttpResponse&)) {
    CHttpRequest request;
    MakeGet(request);
    Client().asynSendRequest(request, callback, false);
}

/// Has a callback want a connection as soon as this thread holds the pool's lock.
void CallBackForAConnection() {
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
}

/// Has a callback end the process. A handler that runs after the library's uses all that a send uses.
void CallBackToExit() {
    std::atexit([] {
        UseThePool(false);
        CHttpRequest request;
        MakeGet(request);
        CHttpResponse response;
        Client().synSendRequest(request, response, false);
    });
    UseThePool(true); // the first one that does TLS has exit() keep the library's threads where they are
    CallBack([](const CHttpResponse& /*response*/) { std::exit(0); });
}

void LetTheCallbackWait() {
    g_poolIsHeld = true;
    while (!StaysInAWait(g_callback)) {
        PauseShortly();
    }
}

/// Has something logged by a thread that is to end, and is within a handler.
void LogWithinAHandler() {
    std::thread([] {
        try {
            throw std::runtime_error("what the host handles");
        } catch (const std::runtime_error&) {
            pthread_cancel(pthread_self());
            CHttpConnectionMgr::Instance()->SetMaxConnPerAddr(1000);
        }
    }).join();
}

/// @return whether a child forked right after the pool was made finds that the pool's thread has logged.
bool ForksAfterTheLog() {
    CHttpConnectionMgr::Instance();
    const pid_t child = fork();
    if (child == 0) {
        _exit(g_logged ? 0 : 1);
    }
    int status = -1;
    waitpid(child, &status, 0);
    return status == 0;
}

bool Holds(const std::string& text, const char* part) {
    return text.find(part) != std::string::npos;
}

} // namespace

// These stand before the platform's.

bool Ovexcommon::TraceClient::checkValid(int /*level*/, int /*module*/) {
    if (g_place == "handler") {
        pthread_testcancel(); // as a log does that reads its level from a file
    }
    return true;
}

void Ovexcommon::TraceClient::trace(int level, int /*module*/, const std::string& body) {
    if (g_place == "forking" && Holds(body, "svc in")) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        g_logged = true;
    }
    const bool limit = (g_place == "limit" || g_place == "callback") && Holds(body, "upper limit");
    if (limit) {
        g_place == "limit" ? LetThePoolsThreadWait() : LetTheCallbackWait();
    }
    if (limit || (g_place == "making" && level == 5) || (g_place == "pool thread" && Holds(body, "svc in"))) {
        std::exit(0);
    }
}

int VornCipher::Decrypt(const std::string& /*cipher*/, std::string& /*plain*/, VornCipherKey /*key*/,
                        unsigned /*flags*/) {
    if (g_place == "cipher") {
        LetThePoolsThreadWait();
        std::exit(0);
    }
    return 1;
}

extern "C" int pthread_cond_clockwait(pthread_cond_t* condition, pthread_mutex_t* mutex, clockid_t clock,
                                      const timespec* until) {
    static auto* const next =
        Next<int(pthread_cond_t*, pthread_mutex_t*, clockid_t, const timespec*)>("pthread_cond_clockwait");
    const int result = next(condition, mutex, clock, until);
    if (g_poolIsHeld && result == ETIMEDOUT) {
        _exit(WAITED);
    }
    return result;
}

int main(int argc, char** argv) {
    g_place = argc == 2 ? argv[1] : "";
    EndOnFaults();
    alarm(LONGEST_LIFE);
    if (g_place == "forking") {
        return ForksAfterTheLog() ? 0 : 1;
    }
    std::atexit([] { CHttpConnectionMgr::Finalize(); });
    if (g_place == "callback") {
        UseThePool(true); // the first one that does TLS has exit() wait for the library's threads
        CallBackForAConnection();
    }
    if (g_place == "handler") {
        LogWithinAHandler();
        return 0;
    }
    if (g_place == "exit") {
        CallBackToExit();
        pause();
    }
    if (g_place == "making") {
        static_cast<void>(!std::freopen("/dev/null", "w", stderr)); // where ACE prints that there are none
        const rlimit none{3, 3};
        setrlimit(RLIMIT_NOFILE, &none); // no reactor, so no timer
    }
    if (g_place == "limit" || g_place == "callback") {
        UseThePoolUp();
    }
    if (g_place == "pool thread") {
        CHttpConnectionMgr::Instance();
        pause(); // and nothing else: this thread is the host's, which uses nothing while the process exits
    }
    UseThePool(g_place == "cipher");
    pause();
    return 2;
}
