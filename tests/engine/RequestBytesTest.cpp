// SPDX-License-Identifier: Apache-2.0
// Nothing forged: what goes out is what was asked for, byte for byte, or nothing at all.
#include <cstring>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <httpclient/testing/LoopbackServer.h>

#include "setting/EngineTest.h"

namespace {

class RequestBytes : public EngineTest {
protected:
    /// Sends a request. @return what the server received, its own address replaced by "HOST".
    std::string Bytes(const Request& request, const std::function<void(ClientOptions&)>& change = {}) {
        kit::LoopbackServer server(Always());
        ClientOptions options = OptionsFor(server);
        if (change) {
            change(options);
        }
        const Result result = ClientOf(options).Send(request);
        if (!result) {
            return Told(result);
        }
        std::string raw = server.requests().at(0).raw;
        const std::size_t at = raw.find(server.authority());
        return at == std::string::npos ? raw : raw.replace(at, server.authority().size(), "HOST");
    }
};

/// A source that gives these pieces.
std::function<BodySource()> Pieces(std::vector<std::string> pieces) {
    return [pieces = std::move(pieces)]() -> BodySource {
        return [pieces, next = std::size_t(0)](char* to, std::size_t /*room*/) mutable -> std::ptrdiff_t {
            if (next == pieces.size()) {
                return 0;
            }
            const std::string& piece = pieces[next++];
            return static_cast<std::ptrdiff_t>(piece.copy(to, piece.size()));
        };
    };
}

const std::string DEFAULTS = "Host: HOST\r\nUser-Agent: libhttpclient\r\n";

} // namespace

TEST_F(RequestBytes, OfEachMethodAreItsOwn) {
    EXPECT_EQ(Bytes(Get("/")), "GET / HTTP/1.1\r\n" + DEFAULTS + "\r\n");
    EXPECT_EQ(Bytes({Method::Delete, "/a"}), "DELETE /a HTTP/1.1\r\n" + DEFAULTS + "\r\n");
    EXPECT_EQ(Bytes({Method::Options, "/a"}), "OPTIONS /a HTTP/1.1\r\n" + DEFAULTS + "\r\n");
    for (const auto& [method, name] : {std::pair(Method::Post, "POST"), std::pair(Method::Put, "PUT"),
                                       std::pair(Method::Patch, "PATCH")}) {
        EXPECT_EQ(Bytes({method, "/a"}),
                  std::string(name) + " /a HTTP/1.1\r\n" + DEFAULTS + "Content-Length: 0\r\n\r\n")
            << "an empty one says so";
        EXPECT_EQ(Bytes(Request(method, "/a").body("12345", "text/plain")),
                  std::string(name) + " /a HTTP/1.1\r\n" + DEFAULTS +
                      "Content-Type: text/plain\r\nContent-Length: 5\r\n\r\n12345");
    }
    EXPECT_EQ(Bytes(Request(Method::Delete, "/a").body("12345")),
              "DELETE /a HTTP/1.1\r\n" + DEFAULTS + "Content-Length: 5\r\n\r\n12345");
}

TEST_F(RequestBytes, OfHeadHaveNoBody) {
    kit::LoopbackServer server([](const kit::RecordedRequest&) {
        return kit::RespondHead(200, {{"Content-Length", "5"}});
    });
    EXPECT_EQ(Told(ClientOf(server).Send({Method::Head, "/a"})), "200 ");
    EXPECT_EQ(server.requests().at(0).raw,
              "HEAD /a HTTP/1.1\r\nHost: " + server.authority() + "\r\nUser-Agent: libhttpclient\r\n\r\n");
}

TEST_F(RequestBytes, HaveTheHostsFieldsInOrderInPlaceOfDefaults) {
    EXPECT_EQ(Bytes(Get().header("B", "2").header("A", "1").header("B", "3").header("Empty", "")),
              "GET / HTTP/1.1\r\n" + DEFAULTS + "B: 2\r\nA: 1\r\nB: 3\r\nEmpty:\r\n\r\n");
    EXPECT_EQ(Bytes(Get().header("user-AGENT", "mine")),
              "GET / HTTP/1.1\r\nHost: HOST\r\nuser-AGENT: mine\r\n\r\n");
    EXPECT_EQ(Bytes(Request(Method::Post, "/").body("x", "text/plain").header("Content-Type", "text/html")),
              "POST / HTTP/1.1\r\n" + DEFAULTS + "Content-Type: text/html\r\nContent-Length: 1\r\n\r\nx");
    EXPECT_EQ(Bytes(Get().header("Accept-Encoding", "br"), [](ClientOptions& o) { o.decompress(true); }),
              "GET / HTTP/1.1\r\n" + DEFAULTS + "Accept-Encoding: br\r\n\r\n");
}

TEST_F(RequestBytes, FollowTheClientsOptions) {
    EXPECT_EQ(Bytes(Get(), [](ClientOptions& o) { o.userAgent(""); }),
              "GET / HTTP/1.1\r\nHost: HOST\r\n\r\n");
    EXPECT_EQ(Bytes(Get(), [](ClientOptions& o) { o.userAgent("me/1.0 (x)"); }),
              "GET / HTTP/1.1\r\nHost: HOST\r\nUser-Agent: me/1.0 (x)\r\n\r\n");
    EXPECT_EQ(Bytes(Get(), [](ClientOptions& o) { o.decompress(true); }),
              "GET / HTTP/1.1\r\n" + DEFAULTS + "Accept-Encoding: gzip, deflate\r\n\r\n");
}

TEST_F(RequestBytes, HaveParametersEscaped) {
    EXPECT_EQ(Bytes(Get("/a").parameter("n m", "\xC3\xA4&=+#\r\n~").parameter("e", "")),
              "GET /a?n%20m=%C3%A4%26%3D%2B%23%0D%0A~&e= HTTP/1.1\r\n" + DEFAULTS + "\r\n");
    EXPECT_EQ(Bytes(Get("/a?b=c").parameter("d", std::string("\0", 1))),
              "GET /a?b=c&d=%00 HTTP/1.1\r\n" + DEFAULTS + "\r\n");
}

TEST_F(RequestBytes, HaveEveryByteOfTheBody) {
    std::string all;
    for (int byte = 0; byte < 256; ++byte) {
        all += static_cast<char>(byte);
    }
    EXPECT_EQ(Bytes(Post(all + all)),
              "POST / HTTP/1.1\r\n" + DEFAULTS + "Content-Length: 512\r\n\r\n" + all + all);
}

TEST_F(RequestBytes, OfASourceAreFramedByItsLengthOrInChunks) {
    EXPECT_EQ(Bytes(Request(Method::Post, "/").bodySource(Pieces({"ab", "cde"}), 5, "text/plain")),
              "POST / HTTP/1.1\r\n" + DEFAULTS +
                  "Content-Type: text/plain\r\nContent-Length: 5\r\n\r\nabcde");
    EXPECT_EQ(Bytes(Request(Method::Post, "/").bodySource(Pieces({"ab", "cde"}), std::nullopt)),
              "POST / HTTP/1.1\r\n" + DEFAULTS +
                  "Transfer-Encoding: chunked\r\n\r\n2\r\nab\r\n3\r\ncde\r\n0\r\n\r\n");
    EXPECT_EQ(Bytes(Request(Method::Post, "/").bodySource(Pieces({}), std::nullopt)),
              "POST / HTTP/1.1\r\n" + DEFAULTS + "Transfer-Encoding: chunked\r\n\r\n0\r\n\r\n");
    EXPECT_EQ(Bytes(Request(Method::Post, "/").bodySource(Pieces({}), 0)),
              "POST / HTTP/1.1\r\n" + DEFAULTS + "Content-Length: 0\r\n\r\n");
    const std::string longest(16UL * 1024, 'x');
    EXPECT_EQ(Bytes(Request(Method::Post, "/").bodySource(Pieces({longest}), std::nullopt)),
              "POST / HTTP/1.1\r\n" + DEFAULTS + "Transfer-Encoding: chunked\r\n\r\n4000\r\n" + longest +
                  "\r\n0\r\n\r\n");
}

TEST_F(RequestBytes, SayCloseWhenTheHostDoesAndThenItIsKeptTo) {
    kit::LoopbackServer server(Always());
    const Client client = ClientOf(server);
    EXPECT_EQ(Told(client.Send(Get().header("Connection", "close"))), "200 answer");
    EXPECT_TRUE(server.WaitForOpenConnections(0));
    EXPECT_EQ(Told(client.Send(Get().header("connection", "Close"))), "200 answer");
    EXPECT_TRUE(server.WaitForOpenConnections(0));
    EXPECT_EQ(server.connectionsAccepted(), 2U);
    EXPECT_EQ(server.requests().at(0).Header("Connection"), "close");
}

TEST_F(RequestBytes, NeverGoOutWhereARuleIsBroken) {
    kit::LoopbackServer server(Always());
    const Client client = ClientOf(server);
    std::vector<Request> refused;
    for (const char* name : {"Content-Length", "Transfer-Encoding", "Host", "Expect", "TE", "Trailer",
                             "Upgrade", "Keep-Alive", "Connection", "content-length", "HOST", "tE"}) {
        refused.push_back(Get().header(name, "5"));
        refused.push_back(Get().header(name, ""));
    }
    refused.push_back(Get().header("Connection", "keep-alive"));
    refused.push_back(Get().header("Connection", "close, upgrade"));
    for (const std::string& name : std::vector<std::string>{"", " ", "a b", "a:", "a\r\n", "a\n", "\xC3\xA4",
                                                            "a\t", "(a)", std::string("a\0b", 3), "a\x7F"}) {
        refused.push_back(Get().header(name, "x"));
    }
    for (const std::string& value :
         std::vector<std::string>{"a\r\nForged: 1", "a\rb", "a\nb", std::string("a\0b", 3), "a\x01", "a\x7F",
                                  " a", "a ", "\ta", " "}) {
        refused.push_back(Get().header("A", value));
    }
    for (const std::string& target : std::vector<std::string>{
             "", "a", "*", "http://elsewhere/", "a/b", "?a", "/a b", "/a#b", "/a\r\nForged: 1", "/a\t",
             "/\x7F", "/\xC3\xA4", std::string("/a\0b", 4), " /a", "/a "}) {
        refused.push_back(Get(target));
    }
    refused.push_back(Get().body("x"));
    refused.push_back(Get().body(""));
    refused.push_back(Request(Method::Head, "/").body("x"));
    refused.push_back(Get().bodySource([] { return BodySource(); }, 0));
    refused.emplace_back(static_cast<Method>(99), "/");
    refused.push_back(Post().body("x", "text/plain\r\nForged: 1"));
    refused.push_back(Get().timeout(0ms));
    refused.push_back(Get().timeout(-1ms));
    refused.push_back(Get().timeout(std::chrono::milliseconds::min()));
    for (std::size_t i = 0; i < refused.size(); ++i) {
        EXPECT_EQ(ToldFully(client.Send(refused[i])), "InvalidRequest in Prepare, not sent, attempts 0")
            << "row " << i;
    }
    EXPECT_EQ(server.connectionsAccepted(), 0U);
}

TEST_F(RequestBytes, GoToAnotherPlaceUnderTheOriginsName) {
    kit::LoopbackServer server(Always());
    const Client client = ClientOf(
        OptionsFor("http://service.example:81").connectTo("127.0.0.1:" + std::to_string(server.port())));
    EXPECT_EQ(Told(client.Send(Get())), "200 answer");
    EXPECT_EQ(server.requests().at(0).Header("Host"), "service.example:81");
}

TEST_F(RequestBytes, GoToIpv6) {
    kit::ServerOptions options;
    options.address = "::1";
    kit::LoopbackServer server(Always(), options);
    EXPECT_EQ(Told(ClientOf(server).Send(Get())), "200 answer");
    EXPECT_EQ(server.requests().at(0).Header("Host"), server.authority());
}
