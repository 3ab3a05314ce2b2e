// SPDX-License-Identifier: Apache-2.0
#include <iostream>
#include <memory>
#include <string>

#include <httpclient/HttpClient.h>
#include <httpclient/HttpClientWrap.h>
#include <httpclient/HttpRequest.h>
#include <httpclient/HttpResponse.h>
#include <httpclient/Result.h>

namespace {

// [reason]
void report(const CHttpResponse& response) {
    if (const httpclient::Failure* failure = response.getFailure()) {
        std::cerr << failure->message() << (failure->retryable() ? ", try again" : "") << '\n';
    }
}
// [end]

std::unique_ptr<CHttpClient> makeStrictClient(int port) {
    // [one-client]
    auto orders = HttpClientWrap::MakeClientPtr("127.0.0.1", 10, 30, port, false);
    orders->setTransferProfile(HTTPTRANSFERPROFILE_STRICT);
    // [end]
    return orders;
}

int send(CHttpClient& client) {
    CHttpRequest request;
    request.setVerb(HTTPOPERATION_GET);
    request.setUrlPath("/echo");
    CHttpResponse response;
    const int status = client.synSendRequest(request, response, false);
    report(response);
    return status;
}

} // namespace

int main(int argc, char** argv) {
    const int port = argc > 1 ? std::stoi(argv[1]) : 8080;
    // [one-line]
    CHttpClient::setDefaultTransferProfile(HTTPTRANSFERPROFILE_STRICT);
    // [end]
    const CHttpClient later;
    const auto client = makeStrictClient(port);
    const int status = send(*client);
    client->setPort(1); // nobody listens there
    const bool both = later.getTransferProfile() == client->getTransferProfile();
    return both && status == 200 && send(*client) == -1 ? 0 : 1;
}
