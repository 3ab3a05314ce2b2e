// SPDX-License-Identifier: Apache-2.0
#include <future>
#include <iostream>
#include <string>

#include <httpclient/HttpClientWrap.h>
#include <httpclient/HttpRequest.h>
#include <httpclient/HttpResponse.h>

namespace {

std::promise<int> answered; // a callback is given the response and nothing else

void onAnswer(const CHttpResponse& response) { // on a worker thread
    std::cout << response.getResponseBody() << '\n';
    answered.set_value(response.getStatusCode()); // 0: the transfer failed; -1: it never began
}

} // namespace

int main(int argc, char** argv) {
    const int port = argc > 1 ? std::stoi(argv[1]) : 8080;
    const auto client = HttpClientWrap::MakeClientPtr("127.0.0.1", 10, 30, port, false);
    CHttpRequest request;
    request.setVerb(HTTPOPERATION_GET);
    request.setUrlPath("/echo");
    request.addParam("name", "value");
    client->asynSendRequest(request, onAnswer, false); // returns as soon as a worker has it
    const int status = answered.get_future().get();
    std::cout << status << '\n';
    return status == 200 ? 0 : 1;
}
