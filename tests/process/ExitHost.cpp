// SPDX-License-Identifier: Apache-2.0
// A host that ends in an awkward moment: ExitHost plain|tls|cancelled|finalize|sweep|forked|first|resolver|lock
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>

#include <netdb.h>
#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

#include <ace/Guard_T.h>
#include <ace/Object_Manager.h>
#include <curl/curl.h>

#include <httpclient/HttpClient.h>
#include <httpclient/HttpConnectionMgr.h>
#include <httpclient/HttpRequest.h>

#include "hosts/CancellationPending.h"
#include "hosts/Faults.h"
#include "hosts/PoolUse.h"
#include "hosts/TimeOuts.h"
#include "interpose/Next.h"
#include "roads/TestedProfile.h"

using httpclient::testing::Next;

namespace {

constexpr unsigned int LONGEST_LIFE = 30; // seconds
constexpr int TOO_LATE = 4;               ///< the status of a host that closed a handle after the gate did
constexpr char SLOW_NAME[] = "slow.test";

std::atomic<bool> g_asked{false};   ///< the name service, for the name that it never answers
std::atomic<bool> g_joining{false}; ///< a worker its thread that asks
std::atomic<bool> g_locking{false}; ///< the last thing of the process takes the pool's mutex

std::atomic<bool> g_forksWhenRegistered{false}; ///< what forks is to call
int g_children = 0;
int g_failed = 0;

std::atomic<bool> g_holdSweep{false}; ///< at the first handle that it closes
std::atomic<bool> g_sweepHeld{false};
std::atomic<bool> g_isLate{false}; ///< what the library does at exit() is over

void Pause(std::chrono::milliseconds time) {
    std::this_thread::sleep_for(time);
}

/// Interrupts what every other thread waits in, as a tracer does, and SIGSTOP with SIGCONT.
void InterruptTheOthers() {
    struct sigaction action {};
    action.sa_handler = [](int) {};
    sigaction(SIGTRAP, &action, nullptr); // a fault: threads of the library do not block it
    for (int i = 0; i < 10; ++i) {
        for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task")) {
            const int thread = std::stoi(entry.path().filename().string());
            if (thread != gettid()) {
                tgkill(getpid(), thread, SIGTRAP);
            }
        }
        Pause(std::chrono::milliseconds(5)); // in which a thread may fault
    }
}

/// Comes back when a worker waits for a name service that never answers; under the STRICT profile nobody waits for it.
void WaitForASlowName() {
    CHttpClient client;
    const bool strict = client.getTransferProfile() == HTTPTRANSFERPROFILE_STRICT;
    client.setDomain(SLOW_NAME);
    // The worker waits when the time is up; under the STRICT profile the process ends before.
    client.setConnectTimeout(strict ? LONGEST_LIFE : 1);
    CHttpRequest request;
    request.setVerb(HTTPOPERATION_GET);
    request.addRequestHeadEntry("A", "1"); // without any there is a message
    client.asynSendRequest(
        request, [](const CHttpResponse&) {}, false);
    while (!(strict ? g_asked : g_joining)) {
        Pause(std::chrono::milliseconds(1));
    }
}

/// Forks amid a sweep. The child has none, makes a TLS connection and ends.
int ForkAmidASweep() {
    UseThePool(false);
    CHttpConnectionMgr* const pool = CHttpConnectionMgr::Instance();
    pool->SetRlsTime(0);
    g_holdSweep = true;
    std::thread sweep([pool] { pool->handle_timeout(ACE_Time_Value::zero, nullptr); });
    while (!g_sweepHeld) {
        Pause(std::chrono::milliseconds(1));
    }
    const pid_t child = fork();
    g_holdSweep = false;
    if (child == 0) {
        EndOnTimeOuts(); // its end has nothing to wait for
        sweep.detach();  // it does not exist here
        UseThePool(true);
        return 0;
    }
    sweep.join();
    int status = -1;
    waitpid(child, &status, 0);
    return status;
}

} // namespace

// These stand before ACE's and the C library's own.

int ACE_Object_Manager::fini() {
    static auto* const next = Next<int(ACE_Object_Manager*)>("_ZN18ACE_Object_Manager4finiEv");
    if (g_locking) { // what the library destroys is gone by now
        const ACE_Guard<ACE_Thread_Mutex> guard(CHttpConnectionMgr::m_HttpConnectionMgr_Mutex);
        std::fputs(guard.locked() != 0 ? "" : "the mutex is gone\n", stderr);
    }
    const int result = next(this);
    InterruptTheOthers();
    return result;
}

extern "C" int getaddrinfo(const char* node, const char* service, const addrinfo* hints, addrinfo** result) {
    static auto* const next = Next<int(const char*, const char*, const addrinfo*, addrinfo**)>("getaddrinfo");
    while (std::string(node) == SLOW_NAME) {
        g_asked = true;
        pause();
    }
    return next(node, service, hints, result);
}

extern "C" int pthread_join(pthread_t thread, void** result) {
    static auto* const next = Next<int(pthread_t, void**)>("pthread_join");
    g_joining = true;
    return next(thread, result);
}

#ifndef __SANITIZE_THREAD__ // which registers before anything of the host's may run
namespace {

/// Forks a child that uses the pool.
void ForkWhileAnotherRegisters() {
    const pid_t child = fork();
    if (child == 0) {
        g_forksWhenRegistered = false;
        alarm(LONGEST_LIFE / 2);
        UseThePool(false);
        _exit(0);
    }
    int status = -1;
    waitpid(child, &status, 0);
    ++g_children;
    g_failed += status == 0 ? 0 : 1;
}

} // namespace

// NOLINTNEXTLINE(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp,readability-identifier-naming): the C library's
extern "C" int __register_atfork(void (*prepare)(), void (*parent)(), void (*child)(), void* library) {
    static auto* const next = Next<int(void (*)(), void (*)(), void (*)(), void*)>("__register_atfork");
    if (g_forksWhenRegistered) {
        std::thread(&ForkWhileAnotherRegisters).join();
    }
    return next(prepare, parent, child, library);
}
#endif

extern "C" void curl_easy_cleanup(CURL* handle) {
    static auto* const next = Next<void(CURL*)>("curl_easy_cleanup");
    while (g_holdSweep) {
        g_sweepHeld = true;
        Pause(std::chrono::milliseconds(1));
    }
    if (g_isLate) {
        _exit(TOO_LATE);
    }
    next(handle);
}

int main(int argc, char** argv) {
    const std::string moment = argc == 2 ? argv[1] : "";
    EndOnFaults();
    TakeTestedProfile();
    alarm(LONGEST_LIFE);
    if (moment == "plain" || moment == "tls") {
        UseThePool(moment == "tls");
    } else if (moment == "cancelled") {
        HoldCancellationOffAfterHandlers();
        UseThePool(false);
        RunWithCancellationPending([] { std::exit(0); });
    } else if (moment == "finalize") {
        // Handlers run in reverse order: this one after the library's own.
        std::atexit([] {
            CHttpConnectionMgr::Finalize();
            UseThePool(false);
            CHttpConnectionMgr::Finalize();
        });
        UseThePool(true);
    } else if (moment == "sweep") {
        std::atexit([] {
            g_isLate = true;
            CHttpConnectionMgr* const pool = CHttpConnectionMgr::Instance();
            pool->SetRlsTime(0);
            pool->handle_timeout(ACE_Time_Value::zero, nullptr);
        });
        UseThePool(false);
    } else if (moment == "forked") {
        return ForkAmidASweep() == 0 ? 0 : 1;
    } else if (moment == "first") {
        g_forksWhenRegistered = true;
        UseThePool(false);
        return g_children > 0 && g_failed == 0 ? 0 : 1;
    } else if (moment == "resolver") {
        WaitForASlowName();
    } else if (moment == "lock") {
        UseThePool(false);
        CHttpConnectionMgr::Finalize();
        g_locking = true;
    } else {
        return 2;
    }
    return 0;
}
