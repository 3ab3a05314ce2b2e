// SPDX-License-Identifier: Apache-2.0
// The guards that docs/behaviour-to-know.md recommends, each tried once: guards PORT
#include <iostream>
#include <string>

#include <httpclient/HttpClient.h>
#include <httpclient/HttpConnectionMgr.h>
#include <httpclient/HttpRequest.h>
#include <httpclient/HttpRequestWrap.h>
#include <httpclient/HttpResponse.h>

namespace {

// [header-text]
/// Whether a text from elsewhere may stand in a header entry: it must not end the line.
bool isHeaderText(const std::string& text) {
    return text.find_first_of(std::string("\r\n\0", 3)) == std::string::npos;
}
// [end]

// [answered]
/// Whether there was an answer. -1: not sent, or failed; 0: an asynchronous transfer failed.
bool wasAnswered(int status) {
    return status > 0;
}
// [end]

// [last-body]
/// The body of the last answer, when a refused one came before it and the server told the length.
std::string lastBody(const CHttpResponse& response) {
    const std::string body = response.getResponseBody();
    const auto length = static_cast<std::size_t>(response.getContentLen());
    return length < body.size() ? body.substr(body.size() - length) : body;
}
// [end]

int sendHead(int port) {
    // [own-connections]
    CHttpClient client; // for HEAD only; all others say "localhost"
    client.setDomain("LOCALHOST");
    // [end]
    client.setPort(port);
    CHttpRequest request;
    request.setVerb(HTTPOPERATION_HEAD);
    request.setUrlPath("/echo");
    CHttpResponse response;
    return client.synSendRequest(request, response, false);
}

int sendOrder(CHttpClient& client) {
    // [send-once]
    const auto request = HttpRequestWrap::MakeRequestPtrWithRouter("/echo", "order-4711", HTTPOPERATION_POST,
                                                                   R"({"items":1})");
    request->addRequestHeadEntry("Connection", "close"); // no kept connection, no second try
    // [end]
    CHttpResponse response;
    const int status = client.synSendRequest(*request, response, false);
    std::cout << lastBody(response) << '\n';
    return status;
}

int sendText(CHttpClient& client, const std::string& text) {
    // [utf8]
    CHttpRequest request;
    request.setAcceptCharset("UTF-8"); // what the values are in; also goes out as a header line
    request.addParam("name", text);
    // [end]
    request.setVerb(HTTPOPERATION_GET);
    request.setUrlPath("/echo");
    if (isHeaderText(text)) {
        request.addRequestHeadEntry("X-Name", text);
    }
    CHttpResponse response; // a new one for each send
    return client.synSendRequest(request, response, false);
}

} // namespace

int main(int argc, char** argv) {
    CHttpClient client;
    client.setDomain("localhost");
    client.setPort(argc > 1 ? std::stoi(argv[1]) : 8080);
    const bool all = wasAnswered(sendText(client, "Zo\xc3\xab")) && wasAnswered(sendOrder(client)) &&
                     wasAnswered(sendHead(argc > 1 ? std::stoi(argv[1]) : 8080)) &&
                     wasAnswered(sendText(client, "two\r\nlines"));
    CHttpConnectionMgr::Finalize();
    std::cout << (all ? "all answered" : "no answer") << '\n';
    return all ? 0 : 1;
}
