// SPDX-License-Identifier: Apache-2.0
#include <iostream>
#include <string>

#include <httpclient/HttpClientWrap.h>
#include <httpclient/HttpConnectionMgr.h>
#include <httpclient/HttpRequestWrap.h>
#include <httpclient/HttpResponse.h>

int main(int argc, char** argv) {
    const int port = argc > 1 ? std::stoi(argv[1]) : 8080;
    const auto client = HttpClientWrap::MakeClientPtr("127.0.0.1", 10, 30, port, false);
    const auto request = HttpRequestWrap::MakeRequestPtr("/echo", R"({"name":"value"})", HTTPOPERATION_POST);
    CHttpResponse response;
    const int status = client->synSendRequest(*request, response, false); // the HTTP status, or -1
    std::cout << status << '\n' << response.getResponseBody() << '\n';
    CHttpConnectionMgr::Finalize(); // closes the connections and stops the pool's thread
    return status == 200 ? 0 : 1;
}
