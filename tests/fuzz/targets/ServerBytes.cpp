// SPDX-License-Identifier: Apache-2.0
// Whatever a server may send: a real transfer over a pair of sockets that the fuzzer's bytes wait in, then a
// clean exchange on the same pooled connection.
#include <limits>
#include <utility>

#include <dlfcn.h>
#include <sys/socket.h>
#include <unistd.h>

#include <ace/Time_Value.h>
#include <curl/curl.h>

#include <httpclient/HttpClient.h>
#include <httpclient/HttpConnectionMgr.h>
#include <httpclient/HttpRequest.h>
#include <httpclient/HttpResponse.h>

#include "../Input.h"
#include "../Require.h"
#include "../Surroundings.h"
#include "../Target.h"
#include "pool/HttpConnection.h"

namespace {

constexpr int PORT = 9; // nobody is asked there
constexpr std::size_t PIECE = 512;
constexpr std::size_t LONGEST = 65536; // fits into a socket's buffer, so that nobody has to wait

/// A server whose answer lies ready before it is asked.
class ReadyServer {
public:
    /// @param whole one stream; otherwise pieces that arrive one by one.
    ReadyServer(std::string_view answer, bool whole) {
        int ends[2] = {-1, -1};
        Require(socketpair(AF_UNIX, whole ? SOCK_STREAM : SOCK_SEQPACKET, 0, ends) == 0,
                "there are descriptors");
        m_client = ends[0];
        m_server = ends[1];
        const std::size_t step = whole ? LONGEST : PIECE;
        for (std::size_t at = 0; at < answer.size(); at += step) {
            const std::string_view piece = answer.substr(at, step);
            Require(send(m_server, piece.data(), piece.size(), MSG_NOSIGNAL) ==
                        static_cast<ssize_t>(piece.size()),
                    "the answer fits into the socket");
        }
        shutdown(m_server, SHUT_WR);
        m_current = this;
    }
    ~ReadyServer() {
        m_current = nullptr;
        close(m_server);
        if (m_client != -1) {
            close(m_client);
        }
    }
    ReadyServer(const ReadyServer&) = delete;
    ReadyServer& operator=(const ReadyServer&) = delete;

    static curl_socket_t Open(void* /*user*/, curlsocktype /*purpose*/, curl_sockaddr* /*address*/) {
        if (m_current == nullptr || m_current->m_client == -1) {
            return CURL_SOCKET_BAD;
        }
        m_current->m_given = std::exchange(m_current->m_client, -1);
        return m_current->m_given;
    }
    /// @return whether this is the end that libcurl was given, which needs no connecting.
    static bool IsConnected(int socket) { return m_current != nullptr && m_current->m_given == socket; }

private:
    static ReadyServer* m_current;
    int m_client = -1;
    int m_given = -1; // the client's end, once it is libcurl's
    int m_server = -1;
};
ReadyServer* ReadyServer::m_current = nullptr;

/// Closes the connections that earlier inputs left, with all that their handles remember, so that an input
/// does the same each time. The pool's own thread closes none meanwhile.
void CloseConnections() {
    CHttpConnectionMgr* const pool = CHttpConnectionMgr::Instance();
    pool->SetRlsTime(std::numeric_limits<std::int64_t>::min());
    pool->handle_timeout(ACE_Time_Value::zero, nullptr);
    pool->SetRlsTime(std::numeric_limits<std::int64_t>::max());
    Require(pool->m_mapHttpConn.empty(), "no connection stays lent out");
}

/// Has the connection that the pool lends next open its sockets here. Its handle keeps the setting.
void Prepare() {
    CHttpConnectionMgr* const pool = CHttpConnectionMgr::Instance();
    CHttpConnection* const connection = pool->GetConn("127.0.0.1", PORT, false);
    curl_easy_setopt(connection->GetCurl(), CURLOPT_OPENSOCKETFUNCTION, &ReadyServer::Open);
    pool->ReleaseConn(connection);
    Require(pool->m_mapHttpConn.begin()->second->size() == 1, "one connection is enough");
}

struct Exchange {
    HTTPOPERATIONTYPE verb = HTTPOPERATION_GET;
    std::string encoding;
    bool whole = true;
};

int Send(const Exchange& exchange, std::string_view answer, CHttpResponse& response) {
    Prepare();
    const ReadyServer server(answer, exchange.whole);
    CHttpRequest request;
    request.setVerb(exchange.verb);
    request.setUrlPath("/path");
    request.setContent("content");
    if (!exchange.encoding.empty()) {
        request.setAcceptEncoding(exchange.encoding);
    }
    CHttpClient client;
    client.setPort(PORT);
    client.setConnectTimeout(2);
    client.setRequestTimeout(2);
    return client.synSendRequest(request, response, false);
}

void RequireCleanExchange(const Exchange& exchange) {
    CHttpResponse response;
    const int status = Send(exchange, "HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nclean", response);
    Require(status == 200, "the next exchange works");
    Require(exchange.verb == HTTPOPERATION_HEAD || response.getResponseBody() == "clean",
            "the next exchange has its own body");
}

} // namespace

// Stands before the C library's own: libcurl would connect what it is told is connected already.
extern "C" int connect(int socket, const sockaddr* address, socklen_t length) {
    if (ReadyServer::IsConnected(socket)) {
        return 0;
    }
    using Connect = int (*)(int, const sockaddr*, socklen_t);
    static const auto real = reinterpret_cast<Connect>(dlsym(RTLD_NEXT, "connect"));
    return real(socket, address, length);
}

void FuzzServerBytes(std::string_view input) {
    static const std::string encodings[] = {"", "gzip", "deflate", "br"};
    Surroundings::Instance();
    Input fields(input.substr(0, LONGEST));
    const unsigned int first = fields.Byte();
    const Exchange exchange{static_cast<HTTPOPERATIONTYPE>(1 + first % 5), encodings[first / 8 % 4],
                            first < 128};

    CloseConnections();
    StartLog();
    CHttpResponse response;
    const int status = Send(exchange, fields.Rest(), response);
    Require(status == response.getStatusCode(), "a failure leaves the response alone, a status is stored");
    Require(status != -1 || (response.getResponseBody().empty() && response.getResponseHead().empty()),
            "a failure leaves the response alone");
    RequireCleanExchange(exchange);
}
