// SPDX-License-Identifier: Apache-2.0
// What docs/host-guide.md shows, at work: host PORT
#include <condition_variable>
#include <csignal>
#include <deque>
#include <iostream>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <httpclient/HttpClient.h>
#include <httpclient/HttpClientWrap.h>
#include <httpclient/HttpConnectionMgr.h>
#include <httpclient/HttpRequest.h>
#include <httpclient/HttpResponse.h>

// The page shows what matters there, and no more.
// NOLINTBEGIN(cert-err33-c,performance-inefficient-vector-operation,performance-no-automatic-move)

namespace {

int port = 8080;

// [start]
void startHttp() { // in main(), before the threads
    std::signal(SIGPIPE, SIG_IGN);
    CHttpConnectionMgr* pool = CHttpConnectionMgr::Instance(); // makes the pool and its thread
    pool->ResizeConnPool(200, 60);                             // per address, addresses; never lowered
    pool->SetRlsTime(60);                                      // seconds that a connection may stay idle
    const CHttpRequest first;                                  // has OpenSSL initialised
}
// [end]

// [own-client]
int get(const std::string& path, std::string& body) {
    thread_local const auto client = HttpClientWrap::MakeClientPtr("localhost", 3, 10, port, false);
    CHttpRequest request;
    request.setVerb(HTTPOPERATION_GET);
    request.setUrlPath(path);
    CHttpResponse response; // never used twice
    const int status = client->synSendRequest(request, response, false);
    if (status != -1) {
        body = response.getResponseBody();
    }
    return status;
}
// [end]

// [callback]
/// Hands answers from the workers to a thread of the host's own.
class Answers {
public:
    void Put(int status, std::string body) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_answers.emplace_back(status, std::move(body));
        m_changed.notify_one();
    }
    std::pair<int, std::string> Take() {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_changed.wait(lock, [this] { return !m_answers.empty(); });
        const auto answer = std::move(m_answers.front());
        m_answers.pop_front();
        return answer;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<std::pair<int, std::string>> m_answers;
};

Answers& answers = *new Answers; // never destroyed: a worker may be late

void onAnswer(const CHttpResponse& response) { // short: the connection stays lent out until it returns
    answers.Put(response.getStatusCode(), response.getResponseBody());
}
// [end]

void sendOnThreads() {
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([] {
            std::string body;
            const int status = get("/echo", body);
            std::cout << std::to_string(status) + " on a thread\n";
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

void sendWithCallback() {
    CHttpClient client;
    client.setDomain("localhost");
    client.setPort(port);
    CHttpRequest request;
    request.setVerb(HTTPOPERATION_GET);
    request.setUrlPath("/echo");
    client.asynSendRequest(request, onAnswer, false);
    std::cout << answers.Take().first << " from a worker\n";
}

// [stop]
void stopHttp(std::vector<std::thread>& senders) { // at the end of main()
    for (std::thread& sender : senders) {
        sender.join(); // first: no send is under way
    }
    CHttpConnectionMgr::Finalize(); // then: the pool and its thread end
} // a process that sends asynchronously leaves Finalize() out and simply ends
// [end]

} // namespace

int main(int argc, char** argv) {
    if (argc > 1) {
        port = std::stoi(argv[1]);
    }
    startHttp();
    std::cout << CHttpConnectionMgr::Instance()->GetConnPoolSize() << " connections per address\n";
    sendOnThreads();
    if (argc > 2) {
        sendWithCallback();
        return 0;
    }
    std::vector<std::thread> none;
    stopHttp(none);
    return 0;
}

// NOLINTEND(cert-err33-c,performance-inefficient-vector-operation,performance-no-automatic-move)
