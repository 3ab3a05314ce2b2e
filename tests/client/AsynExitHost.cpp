// SPDX-License-Identifier: Apache-2.0
// A host that ends while workers are amid TLS transfers, or amid callbacks that use the library:
// AsynExitHost PORT return|exit MILLISECONDS [busy]
// or whose callback sends by TLS, or makes a TLS connection, when OpenSSL is gone: AsynExitHost PORT send|lend 0
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>

#include <unistd.h>

#include <httpclient/HttpClient.h>
#include <httpclient/HttpConnectionMgr.h>
#include <httpclient/HttpRequest.h>
#include <httpclient/HttpResponse.h>

#include "hosts/Faults.h"
#include "hosts/Waits.h"
#include "roads/TestedProfile.h"

namespace {

/// Uses all that lasts as long as the process: constants, and the cache of conversions.
void UseTheLibraryForEver(const CHttpResponse& /*response*/) {
    for (;;) {
        CHttpRequest request;
        request.setVerb(HTTPOPERATION_GET);
        request.setContentType("text/plain");
        request.addParam("name", "caf\xe9");
        request.getParamsAppendInURL();
    }
}

std::atomic<pid_t> g_callback{0}; ///< its thread
std::atomic<bool> g_late{false};
std::atomic<bool> g_done{false};
std::atomic<CHttpClient*> g_sender{nullptr}; ///< null: the callback takes a connection instead

void MakeGet(CHttpRequest& request) {
    request.setVerb(HTTPOPERATION_GET);
    request.setUrlPath("/");
    request.addRequestHeadEntry("A", "1"); // without any there is a message
}

void SendByTls(CHttpClient& client) {
    CHttpRequest request;
    MakeGet(request);
    CHttpResponse response;
    client.synSendRequest(request, response, true);
}

/// The process ends while a callback waits to use TLS, which it then does without OpenSSL.
void EndBeforeACallbackUsesTls(CHttpClient& client, bool sends) {
    // Handlers run in reverse order: this one after the library's, and after OpenSSL's.
    std::atexit([] {
        g_late = true;
        while (!StaysInAWait(g_callback)) {
            if (g_done) {
                _exit(1); // what may not begin any more
            }
            PauseShortly();
        }
    });
    g_sender = sends ? &client : nullptr;
    CHttpRequest request;
    MakeGet(request);
    client.asynSendRequest(
        request,
        [](const CHttpResponse& /*response*/) {
            g_callback = gettid();
            while (!g_late) {
                PauseShortly();
            }
            if (CHttpClient* sender = g_sender) {
                SendByTls(*sender);
            } else {
                CHttpConnectionMgr::Instance()->GetConn("127.0.0.1", 1, true);
            }
            g_done = true;
        },
        true);
    while (g_callback == 0) {
        PauseShortly();
    }
    std::exit(0); // not by returning, which would destroy the client
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 4 && argc != 5) {
        return 2;
    }
    EndOnFaults();
    TakeTestedProfile();
    const bool busy = argc == 5;
    CHttpClient client;
    client.setPort(std::atoi(argv[1]));
    client.setScheme("https");
    const std::string way = argv[2];
    if (way == "send" || way == "lend") {
        EndBeforeACallbackUsesTls(client, way == "send");
    }
    for (int i = 0; i < (busy ? 4 : 60); ++i) {
        CHttpRequest request;
        MakeGet(request);
        client.asynSendRequest(
            request, busy ? &UseTheLibraryForEver : [](const CHttpResponse&) {}, true);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(std::atoi(argv[3])));
    if (way == "exit") {
        std::thread([] { std::exit(0); }).join();
    }
    return 0;
}
