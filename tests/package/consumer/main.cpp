// SPDX-License-Identifier: Apache-2.0
// A host: sends one request to a server of its own on loopback.
#include <cstdio>
#include <string>
#include <thread>

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <httpclient/HttpClient.h>
#include <httpclient/HttpConnectionMgr.h>
#include <httpclient/HttpRequest.h>
#include <httpclient/HttpResponse.h>

namespace {

/// Answers one request.
void Answer(int listener) {
    const int connection = accept(listener, nullptr, nullptr);
    std::string request;
    char buffer[4096];
    while (request.find("\r\n\r\n") == std::string::npos) {
        const ssize_t received = read(connection, buffer, sizeof buffer);
        if (received <= 0) {
            break;
        }
        request.append(buffer, static_cast<size_t>(received));
    }
    const std::string reply = "HTTP/1.1 200 OK\r\nContent-Length: 5\r\nConnection: close\r\n\r\nhello";
    if (write(connection, reply.data(), reply.size()) < 0) {
        std::perror("write");
    }
    close(connection);
}

} // namespace

int main() {
    const int listener = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    auto* generic = reinterpret_cast<sockaddr*>(&address);
    if (bind(listener, generic, length) != 0 || listen(listener, 1) != 0 ||
        getsockname(listener, generic, &length) != 0) {
        return 1;
    }
    std::thread server(Answer, listener);

    CHttpClient client;
    client.setPort(ntohs(address.sin_port));
    CHttpRequest request;
    request.setVerb(HTTPOPERATION_GET);
    request.setUrlPath("/");
    CHttpResponse response;
    const int status = client.synSendRequest(request, response, false);
    std::printf("status %d, body: %s\n", status, response.getResponseBody().c_str());

    shutdown(listener, SHUT_RDWR); // in case no request came
    server.join();
    close(listener);
    CHttpConnectionMgr::Finalize();
    return status == 200 ? 0 : 1;
}
