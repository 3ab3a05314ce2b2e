// SPDX-License-Identifier: Apache-2.0
// A host that ends while workers are amid TLS transfers: AsynExitHost PORT return|exit MILLISECONDS
#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>

#include <httpclient/HttpClient.h>
#include <httpclient/HttpRequest.h>

class CHttpResponse;

int main(int argc, char** argv) {
    if (argc != 4)
        return 2;
    CHttpClient client;
    client.setPort(std::atoi(argv[1]));
    client.setScheme("https");
    for (int i = 0; i < 60; ++i) {
        CHttpRequest request;
        request.setVerb(HTTPOPERATION_GET);
        request.setUrlPath("/");
        client.asynSendRequest(
            request, [](const CHttpResponse&) {}, true);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(std::atoi(argv[3])));
    if (std::string(argv[2]) == "exit")
        std::thread([] { std::exit(0); }).join();
    return 0;
}
