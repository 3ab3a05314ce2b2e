// SPDX-License-Identifier: Apache-2.0
#include <iostream>
#include <string>

#include <httpclient/HttpClientWrap.h>
#include <httpclient/HttpConnectionMgr.h>
#include <httpclient/HttpRequest.h>
#include <httpclient/HttpResponse.h>

int main(int argc, char** argv) {
    const int port = argc > 1 ? std::stoi(argv[1]) : 8443;
    const auto client = HttpClientWrap::MakeClientPtr("localhost", 10, 30, port, true); // https …
    CHttpRequest request;
    request.setVerb(HTTPOPERATION_GET);
    request.setUrlPath(argc > 2 ? argv[2] : "/");
    CHttpResponse response;
    const int status = client->synSendRequest(request, response, true); // … and a TLS connection
    std::cout << status << '\n' << response.getResponseBody() << '\n';
    CHttpConnectionMgr::Finalize();
    return status == 200 ? 0 : 1;
}
