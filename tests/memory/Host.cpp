// SPDX-License-Identifier: Apache-2.0
// A host that makes one call with secrets, and stands still before and after it, so that its memory can be looked at.
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <future>
#include <iterator>
#include <limits>
#include <map>
#include <string>
#include <thread>
#include <utility>

#include <strings.h>

#include <ace/Time_Value.h>

#include <httpclient/Client.h>
#include <httpclient/HttpClient.h>
#include <httpclient/HttpConnectionMgr.h>
#include <httpclient/HttpRequest.h>
#include <httpclient/HttpResponse.h>

#include "Canary.h"
#include "ForgetfulLibraries.h"
#include "interpose/Select.h"

namespace {

/// Where the call goes.
struct Target {
    std::uint16_t port = 0;
    bool tls = false;

    std::string scheme() const { return tls ? "https" : "http"; }
};

constexpr const char* HOST = "127.0.0.1";
constexpr const char* PATH = "/orders";
constexpr const char* FIRST_PATH = "/orders/first"; // where the first token is taken

void StandStill() {
    static_cast<void>(std::raise(SIGSTOP));
}

httpclient::Client ClientOf(const Target& to) {
    using namespace httpclient;
    const std::string origin = to.scheme() + "://" + HOST + ":" + std::to_string(to.port);
    return Client(ClientOptions(origin).identity(Identity::Platform));
}

httpclient::Request SecretiveRequest() {
    using namespace httpclient;
    Request request(Method::Post, PATH);
    request.header("Authorization", Canary("header"));
    request.header("Cookie", Canary("cookie"));
    request.body(Canary("body"));
    return request;
}

int StatusOf(const httpclient::Result& result) {
    if (!result) {
        std::fprintf(stderr, "%s\n", result.failure().message().c_str());
    }
    return result ? result->status() : -1;
}

/// Has the first token got, and what belongs to it wiped.
void Begin(const httpclient::Client& client) {
    const WipingAll wiping;
    static_cast<void>(StatusOf(client.Send(httpclient::Request(httpclient::Method::Get, FIRST_PATH))));
}

int SendByClient(const Target& to, bool asynchronously) {
    const httpclient::Client client = ClientOf(to);
    Begin(client);
    httpclient::Request request = SecretiveRequest();
    StandStill();
    const int status =
        StatusOf(asynchronously ? client.SendAsync(std::move(request)).get() : client.Send(request));
    StandStill();
    return status;
}

/// Uses a secret as a host does that leaves no copy of its own behind.
template <class Use> void WithCanary(const char* name, const Use& use) {
    std::string text = Canary(name);
    use(text);
    explicit_bzero(text.data(), text.size());
}

void Fill(CHttpRequest& request) {
    const WipingAll wiping; // what the setters leave is the host's
    request.setVerb(HTTPOPERATION_POST);
    request.setUrlPath(PATH);
    WithCanary("header",
               [&](const std::string& text) { request.addRequestHeadEntry("Authorization", text); });
    WithCanary("cookie", [&](const std::string& text) { request.setCustomCookieParam(text); });
    WithCanary("body", [&](const std::string& text) { request.setContent(text); });
}

void Begin(CHttpClient& client, bool tls) {
    const WipingAll wiping;
    CHttpRequest request;
    request.setVerb(HTTPOPERATION_GET);
    request.setUrlPath(FIRST_PATH);
    CHttpResponse response;
    client.synSendRequest(request, response, tls);
}

/// Closes all that the pool holds: what libcurl keeps for a connection is its own.
void ClosePool() {
    CHttpConnectionMgr* const pool = CHttpConnectionMgr::Instance();
    pool->SetRlsTime(std::numeric_limits<std::int64_t>::min());
    pool->handle_timeout(ACE_Time_Value::zero, nullptr);
    CHttpConnectionMgr::Finalize();
}

std::promise<int> g_status; // of the only asynchronous send

std::ptrdiff_t Threads() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/task"), {});
}

int Send(CHttpClient& client, const CHttpRequest& request, bool tls, bool asynchronously) {
    if (asynchronously) {
        client.asynSendRequest(
            request, [](const CHttpResponse& response) { g_status.set_value(response.getStatusCode()); },
            tls);
        return g_status.get_future().get();
    }
    CHttpResponse response;
    return client.synSendRequest(request, response, tls);
}

int SendByHttpClient(const Target& to, HTTPTRANSFERPROFILE profile, bool asynchronously) {
    CHttpClient client;
    client.setTransferProfile(profile);
    client.setScheme(to.scheme());
    client.setDomain(HOST);
    client.setPort(to.port);
    Begin(client, to.tls);
    CHttpRequest request;
    Fill(request);
    const std::ptrdiff_t before = Threads();
    StandStill();
    const int status = Send(client, request, to.tls, asynchronously);
    while (profile == HTTPTRANSFERPROFILE_COMPATIBLE && Threads() > before) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1)); // a worker is done when it is gone
    }
    ClosePool();
    StandStill();
    return status;
}

/// Leaves secrets where nobody may: in memory that is given back, and below the stack's end.
__attribute__((noinline)) void LeaveBehind() {
    std::string heap;
    heap.append(1, 'x').append(Canary("heap"));
    volatile char stack[4096];
    WithCanary("stack", [&](const std::string& text) {
        for (std::size_t index = 0; index < text.size(); ++index) {
            stack[index] = text[index];
        }
    });
}

int LeaveBehindAndStand(const Target& /*to*/) {
    StandStill();
    LeaveBehind();
    StandStill();
    return 200;
}

using Work = std::function<int(const Target&)>;

Work ByClient(bool asynchronously) {
    return [=](const Target& to) { return SendByClient(to, asynchronously); };
}

Work ByHttpClient(HTTPTRANSFERPROFILE profile, bool asynchronously) {
    return [=](const Target& to) { return SendByHttpClient(to, profile, asynchronously); };
}

} // namespace

/// Its exit code is the first digit of the status.
int main(int argc, char** argv) {
    const std::map<std::string, Work> works = {
        {"client", ByClient(false)},
        {"client-async", ByClient(true)},
        {"compatible", ByHttpClient(HTTPTRANSFERPROFILE_COMPATIBLE, false)},
        {"compatible-async", ByHttpClient(HTTPTRANSFERPROFILE_COMPATIBLE, true)},
        {"strict", ByHttpClient(HTTPTRANSFERPROFILE_STRICT, false)},
        {"strict-async", ByHttpClient(HTTPTRANSFERPROFILE_STRICT, true)},
        {"left-behind", &LeaveBehindAndStand}};
    if (argc != 4 || works.count(argv[1]) == 0 || WipeAfterForgetfulLibraries() == 0) {
        return 1;
    }
    httpclient::testing::HeldSelect select;
    select.Divide(10);
    const Target to{static_cast<std::uint16_t>(std::atoi(argv[3])), std::strcmp(argv[2], "https") == 0};
    return works.at(argv[1])(to) / 100;
}
