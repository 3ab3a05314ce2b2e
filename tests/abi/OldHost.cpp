// SPDX-License-Identifier: Apache-2.0
// A host that was compiled with the headers of the first release. It prints what it meets; today's library must give it
// what the first one did.
#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <string>

#include <httpclient/HttpClient.h>
#include <httpclient/HttpClientWrap.h>
#include <httpclient/HttpConnectionMgr.h>
#include <httpclient/HttpRequest.h>
#include <httpclient/HttpRequestWrap.h>
#include <httpclient/HttpResponse.h>

namespace {

std::mutex g_lock;
std::condition_variable g_changed;
std::string g_asynchronous;

/// Objects of the library with fields of the host behind them: their size is in the host's code.
struct Guarded : CHttpRequest {
    unsigned long guard = 0xA5A5A5A5UL;
};
struct GuardedClient : CHttpClient {
    unsigned long guard = 0x5A5A5A5AUL;
};
struct GuardedResponse : CHttpResponse {
    unsigned long guard = 0x3C3C3C3CUL;
};

void Note(const CHttpResponse& response) {
    const std::lock_guard<std::mutex> lock(g_lock);
    g_asynchronous = std::to_string(response.getStatusCode()) + " " + response.getResponseBody();
    g_changed.notify_all();
}

void Prepare(CHttpClient& client, int port) {
    client.setDomain("127.0.0.1");
    client.setPort(port);
    client.setScheme("http");
    client.setConnectTimeout(10);
    client.setRequestTimeout(20);
    client.resizeConnPool(200, 50);
}

void Fill(CHttpRequest& request, HTTPOPERATIONTYPE verb) {
    request.setVerb(verb);
    request.setUrlPath("/path");
    request.addParam("name", "value");
    request.addRequestHeadEntry("X-Old", "host");
    request.setAcceptEncoding("gzip");
    request.setCustomCookieParam("a=b");
    if (verb == HTTPOPERATION_POST || verb == HTTPOPERATION_PUT) {
        request.setContentType("text/plain");
        request.setContent("content");
    }
}

/// A HEAD has its head as its body, as it has always been.
std::string BodyOf(const CHttpResponse& response) {
    const std::string body = response.getResponseBody();
    return body.compare(0, 5, "HTTP/") == 0 ? "HEAD" : body;
}

void Synchronous(int port) {
    for (const HTTPOPERATIONTYPE verb : {HTTPOPERATION_GET, HTTPOPERATION_PUT, HTTPOPERATION_POST,
                                         HTTPOPERATION_DELETE, HTTPOPERATION_HEAD}) {
        GuardedClient client;
        Prepare(client, port);
        Guarded request;
        Fill(request, verb);
        GuardedResponse response;
        const int status = client.synSendRequest(request, response, false);
        std::printf("%d: %d [%s] %s %.0f\n", static_cast<int>(verb), status, BodyOf(response).c_str(),
                    response.getContentType().c_str(), response.getContentLen());
        const bool whole =
            request.guard == 0xA5A5A5A5UL && client.guard == 0x5A5A5A5AUL && response.guard == 0x3C3C3C3CUL;
        std::printf("   %s\n", whole ? "whole" : "overwritten");
    }
}

void Asynchronous(int port) {
    const auto client = HttpClientWrap::MakeClientPtr("127.0.0.1", 10, 20, port, false);
    const auto request = HttpRequestWrap::MakeRequestPtr("/path", "{}", HTTPOPERATION_GET);
    client->asynSendRequest(*request, &Note, false);
    std::unique_lock<std::mutex> lock(g_lock);
    g_changed.wait(lock, [] { return !g_asynchronous.empty(); });
    std::printf("asynchronous: %s\n", g_asynchronous.c_str());
}

/// The pool through its table of virtual functions, and lending by hand.
void Pool(int port) {
    CHttpConnectionMgr* const pool = CHttpConnectionMgr::Instance();
    std::printf("pool: %u of %u\n", pool->GetConnPoolSize(), pool->GetConnAddrSize());
    CHttpConnection* const connection = pool->GetConn("127.0.0.1", static_cast<unsigned>(port), false);
    std::printf("lent: %s\n", connection != nullptr ? "yes" : "no");
    pool->ReleaseConn(connection);
    ACE_Task_Base* const task = pool;
    task->handle_timeout(ACE_Time_Value::zero, nullptr); // by its slot
    CHttpConnectionMgr::Finalize();
}

} // namespace

int main(int /*argc*/, char** argv) {
    const int port = std::stoi(argv[1]);
    Synchronous(port);
    Asynchronous(port);
    Pool(port);
    return 0;
}
