// SPDX-License-Identifier: Apache-2.0
#include "setting/Callback.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <thread>

#include <unistd.h>

#include <httpclient/HttpClient.h>
#include <httpclient/HttpRequest.h>
#include <httpclient/HttpResponse.h>
#include <httpclient/Result.h>
#include <httpclient/testing/Failures.h>
#include <httpclient/testing/Patience.h>

#include "interpose/Select.h"

using namespace httpclient::testing;

namespace {

struct Called {
    AsynResult result;
    pid_t worker = 0;
};

std::mutex g_mutex;
std::condition_variable g_changed;
std::optional<Called> g_called;

void OnResponse(const CHttpResponse& response) {
    const std::lock_guard<std::mutex> lock(g_mutex);
    if (g_called) {
        ReportFailure("an asynchronous send called back twice");
    }
    g_called = Called{{response.getStatusCode(), response.getResponseBody(), FailureOf(response)}, gettid()};
    g_changed.notify_all();
}

Called WaitForCall() {
    std::unique_lock<std::mutex> lock(g_mutex);
    if (!g_changed.wait_for(lock, PATIENCE * 3, [] { return g_called.has_value(); })) {
        throw std::runtime_error("no callback");
    }
    const Called called = *g_called;
    g_called.reset();
    return called;
}

/// The worker gives its connection back after the callback, as the last thing it does.
void WaitForTheEndOf(pid_t thread) {
    const std::string path = "/proc/self/task/" + std::to_string(thread);
    const auto deadline = std::chrono::steady_clock::now() + PATIENCE;
    while (thread != gettid() && access(path.c_str(), F_OK) == 0) {
        if (std::chrono::steady_clock::now() > deadline) {
            throw std::runtime_error("the worker does not end");
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

} // namespace

std::string FailureOf(const CHttpResponse& response) {
    const httpclient::Failure* const failure = response.getFailure();
    return failure == nullptr ? ""
                              : std::string(ToString(failure->kind())) + " in " + ToString(failure->phase());
}

AsynResult AsynSend(CHttpClient& client, const CHttpRequest& request, bool bSSL) {
    HeldSelect select;
    select.Divide(100); // the worker's pauses are long
    client.asynSendRequest(request, &OnResponse, bSSL);
    const Called called = WaitForCall();
    if (client.getTransferProfile() == HTTPTRANSFERPROFILE_COMPATIBLE) {
        WaitForTheEndOf(called.worker); // under the other one the engine's threads stay
    }
    return called.result;
}
