// SPDX-License-Identifier: Apache-2.0
// A host whose log or cipher does what surprises. It ends the process, and a handler of exit() ends the pool:
// LogHost making|"pool thread"|limit|cipher
// It does so amid a send of a client that exit() destroys: LogHost "static client"|"own client"
// Its thread is cancelled in the log, or where the environment is read, while it is within a handler:
// LogHost handler|environment
// It forks while the pool's thread logs, on a thread that is to end, or after that thread has ended in the log:
// LogHost forking|ending
#include <atomic>
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

#include <ovexcommon/OvexCommonUtils.h>
#include <ovexcommon/TraceClient.h>
#include <vorncipher/VornCipher.h>

#include <httpclient/HttpClient.h>
#include <httpclient/HttpConnectionMgr.h>
#include <httpclient/HttpRequest.h>
#include <httpclient/HttpResponse.h>

#include "hosts/CancellationPending.h"
#include "hosts/Faults.h"
#include "hosts/PoolUse.h"
#include "hosts/TimeOuts.h"
#include "hosts/Waits.h"

namespace {

constexpr unsigned int LONGEST_LIFE = 30; // seconds

std::string g_place; ///< where the process ends

std::atomic<bool> g_isAsked{false}; ///< where the files of the identity are
std::atomic<bool> g_logged{false};  ///< by the pool's thread, which takes its time

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

/// Has something done by a thread that is to end, and is within a handler.
void DoWithinAHandler(void (*work)()) {
    std::thread([work] {
        try {
            throw std::runtime_error("what the host handles");
        } catch (const std::runtime_error&) {
            pthread_cancel(pthread_self());
            work();
        }
    }).join();
}

/// @return whether a child has ended, and well.
bool EndsWell(pid_t child) {
    int status = -1;
    return waitpid(child, &status, 0) == child && status == 0;
}

/// @return whether a child forked right after the pool was made finds that the pool's thread has logged.
bool ForksAfterTheLog() {
    CHttpConnectionMgr::Instance();
    pid_t child = 0;
    RunWithCancellationPending([&child] { child = fork(); });
    if (child == 0) {
        _exit(g_logged ? 0 : 1);
    }
    return EndsWell(child);
}

/// @return whether a child could be forked.
bool Forks() {
    CHttpConnectionMgr::Instance();
    const pid_t child = fork();
    if (child == 0) {
        _exit(0);
    }
    return EndsWell(child);
}

bool Holds(const std::string& text, const char* part) {
    return text.find(part) != std::string::npos;
}

CHttpClient& StaticClient() {
    static CHttpClient client;
    return client;
}

CHttpClient& OwnClientOfTheThread() {
    thread_local CHttpClient client;
    return client;
}

/// Sends to a port where nobody listens, which is logged.
void SendInVain(CHttpClient& client) {
    client.setPort(1);
    CHttpRequest request;
    request.setVerb(HTTPOPERATION_GET);
    CHttpResponse response;
    client.synSendRequest(request, response, false);
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
    if (g_place == "ending" && Holds(body, "svc in")) {
        pthread_exit(nullptr);
    }
    const bool limit = g_place == "limit" && Holds(body, "upper limit");
    if (limit) {
        LetThePoolsThreadWait();
    }
    const bool failure = Holds(g_place, "client") && Holds(body, "curl_easy_perform call failed");
    if (limit || failure || (g_place == "making" && level == 5) ||
        (g_place == "pool thread" && Holds(body, "svc in"))) {
        std::exit(0);
    }
}

std::string OvexCommonUtils::Ovexgetenv(const std::string& name) {
    if (name == "APP_ROOT") {
        g_isAsked = true;
        pthread_testcancel();
    }
    return name == "enableServiceIdentity" ? "true" : "";
}

int VornCipher::Decrypt(const std::string& /*cipher*/, std::string& /*plain*/, VornCipherKey /*key*/,
                        unsigned /*flags*/) {
    if (g_place == "cipher") {
        LetThePoolsThreadWait();
        std::exit(0);
    }
    return 1;
}

int main(int argc, char** argv) {
    g_place = argc == 2 ? argv[1] : "";
    EndOnFaults();
    alarm(LONGEST_LIFE);
    if (g_place == "forking") {
        return ForksAfterTheLog() ? 0 : 1;
    }
    if (g_place == "ending") {
        EndOnTimeOuts();
        return Forks() ? 0 : 1;
    }
    std::atexit([] { CHttpConnectionMgr::Finalize(); });
    if (g_place == "handler") {
        DoWithinAHandler([] { CHttpConnectionMgr::Instance()->SetMaxConnPerAddr(1000); });
        return 0;
    }
    if (g_place == "environment") {
        DoWithinAHandler([] { const CHttpClient first; });
        return g_isAsked ? 0 : 2;
    }
    if (g_place == "making") {
        static_cast<void>(!std::freopen("/dev/null", "w", stderr)); // where ACE prints that there are none
        const rlimit none{3, 3};
        setrlimit(RLIMIT_NOFILE, &none); // no reactor, so no timer
    }
    if (g_place == "limit") {
        UseThePoolUp();
    }
    if (g_place == "static client") {
        SendInVain(StaticClient());
    }
    if (g_place == "own client") {
        SendInVain(OwnClientOfTheThread());
    }
    if (g_place == "pool thread") {
        CHttpConnectionMgr::Instance();
        pause(); // and nothing else: this thread is the host's, which uses nothing while the process exits
    }
    UseThePool(g_place == "cipher");
    pause();
    return 2;
}
