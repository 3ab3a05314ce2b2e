// SPDX-License-Identifier: Apache-2.0
// Many threads, each with a client of its own.
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include <httpclient/HttpClient.h>
#include <httpclient/testing/RecordingTrace.h>

#include "ClientFixture.h"

using namespace httpclient::testing;

namespace {

constexpr int THREADS = 8;
constexpr int REQUESTS = 200;

/// Answers with what was asked: the target, the body and a header.
Reply Echo(const RecordedRequest& request) {
    return Respond(200, {{"Content-Type", request.Header("Content-Type").value_or("none")}},
                   request.target + " " + request.body);
}

/// Sends so many requests, each unlike all others. @return how many answers were not the request's own.
int SendMany(const LoopbackServer& server, int thread) {
    CHttpClient client;
    PointAt(client, server);
    int wrong = 0;
    for (int i = 0; i < REQUESTS; ++i) {
        const std::string mark = std::to_string(thread) + "-" + std::to_string(i);
        const auto request = MakeRequest(i % 2 == 0 ? HTTPOPERATION_POST : HTTPOPERATION_PUT, "/" + mark);
        request->setContentType("mark/" + mark);
        request->setContent("body " + mark);
        CHttpResponse response;
        const int status = client.synSendRequest(*request, response, false);
        const bool right = status == 200 && response.getResponseBody() == "/" + mark + " body " + mark &&
                           response.getContentType() == "mark/" + mark;
        wrong += right ? 0 : 1;
    }
    return wrong;
}

class SynSendThreads : public ClientTest {};

} // namespace

TEST_F(SynSendThreads, GetEachTheirOwnAnswers) {
    TraceRecorder::Instance().SetLowestLevel(3);
    LoopbackServer server(Echo);
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int thread = 0; thread < THREADS; ++thread) {
        threads.emplace_back([&, thread] { wrong += SendMany(server, thread); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(server.requests().size(), static_cast<std::size_t>(THREADS * REQUESTS));
    EXPECT_LE(PooledConnections(server), static_cast<std::size_t>(THREADS));
    EXPECT_LE(server.connectionsAccepted(), static_cast<unsigned int>(THREADS));
}
