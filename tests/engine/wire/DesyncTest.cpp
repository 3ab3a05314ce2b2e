// SPDX-License-Identifier: Apache-2.0
// Answers made to be taken for other answers (RFC 9112, 11.1 and 11.2), and requests made to be taken for two. Whatever
// becomes of the first call: the second one is answered by its own answer, and a server never sees a request that nobody
// made.
#include <functional>
#include <vector>

#include "setting/ScriptedServer.h"
#include "wire/WireTest.h"

namespace {

using namespace std::string_literals;

const std::string LENGTH_5 = "Content-Length: 5\r\n";
const std::string CHUNKED = "Transfer-Encoding: chunked\r\n";
const std::string END = "\r\n";
const std::string FORGED = OK + "Content-Length: 6\r\n\r\nforged"; ///< lies in wait behind each of them

/// An answer, and what may become of the call that gets it.
struct Trick {
    std::string name;
    std::string bytes;
    std::string outcome; ///< "Protocol", or status and body
    Request request = Get();
};

std::string Coding(const std::string& value) {
    return OK + "Transfer-Encoding:" + value + "\r\n" + END + "5\r\nhello\r\n0\r\n\r\n";
}

std::string Lengths(const std::string& fields) {
    return OK + fields + END + "hello";
}

std::string Chunks(const std::string& body) {
    return OK + CHUNKED + END + body;
}

/// Two readers could see different ends.
std::vector<Trick> Framings() {
    return {
        {"both framings", OK + LENGTH_5 + CHUNKED + END + "0\r\n\r\n", "Protocol"},
        {"both framings, the other way round", OK + CHUNKED + LENGTH_5 + END + "0\r\n\r\n", "Protocol"},
        {"two lengths", Lengths("Content-Length: 5\r\nContent-Length: 0\r\n"), "Protocol"},
        {"two lengths in one", Lengths("Content-Length: 5, 0\r\n"), "Protocol"},
        {"a length with a sign", Lengths("Content-Length: +5\r\n"), "Protocol"},
        {"a negative length", Lengths("Content-Length: -5\r\n"), "Protocol"},
        {"a length beyond 2^64", Lengths("Content-Length: 18446744073709551621\r\n"), "Protocol"},
        {"a hexadecimal length", Lengths("Content-Length: 0x5\r\n"), "Protocol"},
        {"a length and a blank before its colon", Lengths("Content-Length : 5\r\n"), "Protocol"},
        {"a length on a folded line", Lengths("Content-Length:\r\n 5\r\n"), "200 hello"},
        {"a length whose name is folded away", Lengths("A: b\r\n Content-Length: 0\r\nContent-Length: 5\r\n"),
         "200 hello"},
        {"a length with a NUL", Lengths("Content-Length: 5\0\r\n"s), "Protocol"},
        {"a length with a form feed", Lengths("Content-Length: \x0C"s + "5\r\n"), "Protocol"},
        {"a length behind a bare CR", OK + "A: b\rContent-Length: 5\r\n" + END + "hello", "Protocol"},
        {"a length behind a bare LF", OK + "A: b\nContent-Length: 5\r\n" + END + "hello", "Protocol"},
        {"an end of the head by bare LFs", OK + LENGTH_5 + "\nhello", "Protocol"},
    };
}

std::vector<Trick> Codings() {
    return {
        {"chunked, then another", Coding(" chunked, identity"), "Protocol"},
        {"another, then chunked", Coding(" gzip, chunked"), "Protocol"},
        {"an unknown coding", Coding(" cow"), "Protocol"},
        {"chunked in quotes", Coding(" \"chunked\""), "Protocol"},
        {"chunked with a parameter", Coding(" chunked;q=1"), "Protocol"},
        {"chunked with a vertical tab", Coding(" \x0B"s + "chunked"), "Protocol"},
        {"chunked with a NUL", Coding(" chunked\0"s), "Protocol"},
        {"chunked with a byte beyond ASCII", Coding(" \xC2\xA0"s + "chunked"), "Protocol"},
        {"chunked twice", OK + CHUNKED + CHUNKED + END + "5\r\nhello\r\n0\r\n\r\n", "Protocol"},
        {"chunked on a folded line", Coding("\r\n chunked"), "200 hello"},
        {"chunked behind a blank before the colon",
         OK + "Transfer-Encoding : chunked\r\n" + END + "0\r\n\r\n", "Protocol"},
        {"chunked in version 1.0", "HTTP/1.0 200 OK\r\n" + CHUNKED + END + "0\r\n\r\n", "Protocol"},
    };
}

std::vector<Trick> ChunkTricks() {
    return {
        {"a size with a sign", Chunks("+5\r\nhello\r\n0\r\n\r\n"), "Protocol"},
        {"a size with a prefix", Chunks("0x5\r\nhello\r\n0\r\n\r\n"), "Protocol"},
        {"a size of 17 digits", Chunks("10000000000000005\r\nhello\r\n0\r\n\r\n"), "Protocol"},
        {"a size behind a blank", Chunks(" 5\r\nhello\r\n0\r\n\r\n"), "Protocol"},
        {"a size before a bare LF", Chunks("5\nhello\r\n0\r\n\r\n"), "Protocol"},
        {"a size before a bare CR", Chunks("5\rhello\r\n0\r\n\r\n"), "Protocol"},
        {"a chunk that is longer than its size", Chunks("4\r\nhello\r\n0\r\n\r\n"), "Protocol"},
        {"a chunk that ends with other bytes", Chunks("5\r\nhelloXX0\r\n\r\n"), "Protocol"},
        {"an extension with a bare LF", Chunks("5;a\nb\r\nhello\r\n0\r\n\r\n"), "Protocol"},
        {"an extension with a bare CR", Chunks("5;a\rb\r\nhello\r\n0\r\n\r\n"), "Protocol"},
        {"no size", Chunks("\r\nhello\r\n0\r\n\r\n"), "Protocol"},
        {"a trailer that frames", Chunks("5\r\nhello\r\n0\r\nContent-Length: 0\r\n\r\n"), "200 hello"},
        {"a trailer with a bare LF", Chunks("5\r\nhello\r\n0\r\nA: b\n\r\n"), "Protocol"},
    };
}

/// Answers beside the one that was asked for.
std::vector<Trick> Others() {
    const Request head(Method::Head, "/");
    return {
        {"an answer and another", OK + LENGTH_5 + END + "hello", "200 hello"},
        {"an answer and half of another", OK + LENGTH_5 + END + "helloHTTP/1.1 2", "200 hello"},
        {"a body to HEAD", OK + LENGTH_5 + END + "hello", "200 ", head},
        {"chunks to HEAD", OK + CHUNKED + END + "5\r\nhello\r\n0\r\n\r\n", "200 ", head},
        {"a body with 204", "HTTP/1.1 204 No\r\n" + LENGTH_5 + END + "hello", "204 "},
        {"a body with 304", "HTTP/1.1 304 Same\r\n" + LENGTH_5 + END + "hello", "304 "},
        {"a switch of protocols", "HTTP/1.1 101 Switch\r\nUpgrade: x\r\nConnection: upgrade\r\n\r\n",
         "Protocol"},
        {"an interim answer with a body", "HTTP/1.1 103 Early\r\n" + LENGTH_5 + END + "hello", "Protocol"},
        {"a status of four digits", "HTTP/1.1 2000 OK\r\n" + LENGTH_5 + END + "hello", "Protocol"},
        {"version 2.0", "HTTP/2.0 200 OK\r\n" + LENGTH_5 + END + "hello", "Protocol"},
        {"no version", "200 OK\r\n" + LENGTH_5 + END + "hello", "Protocol"},
    };
}

class Desync : public WireTest {
protected:
    /// The first connection answers with a trick, and behind it with an answer that is nobody's.
    void Check(const std::vector<Trick>& tricks) {
        for (const Trick& trick : tricks) {
            SCOPED_TRACE(trick.name);
            const ScriptedServer server([&](Peer& peer) {
                while (peer.Expect("\r\n\r\n")) {
                    peer.Send(peer.number() == 1 ? trick.bytes + FORGED
                                                 : OK + "Content-Length: 3\r\n\r\nown");
                }
            });
            const Client client = ClientOf(OptionsFor(server.origin()));
            const std::string told = Told(Send(client, trick.request));
            EXPECT_EQ(trick.outcome == "Protocol" ? told.substr(0, 8) : told, trick.outcome) << told;
            EXPECT_EQ(ToldFully(Send(client, Get())), "200 own, attempts 1") << "over another connection";
        }
    }
};

/// Texts that end a line for somebody.
const std::vector<std::string>& Breaks() {
    static const std::vector<std::string> all = {"\r\n",
                                                 "\n",
                                                 "\r",
                                                 "\0"s,
                                                 "\x0B",
                                                 "\x0C",
                                                 "\x7F",
                                                 "\x01",
                                                 "\r\n\r\nGET /forged HTTP/1.1\r\nHost: x\r\n\r\n",
                                                 " HTTP/1.1\r\nA: "};
    return all;
}

/// Where a host's text may stand in a request.
struct Part {
    const char* name;
    std::function<Request(const std::string&)> make;
    bool carries; ///< the text is encoded, or is a body: it goes out, as what it is
};

std::vector<Part> Parts() {
    return {
        {"target", [](const std::string& text) { return Get("/a" + text + "b"); }, false},
        {"query", [](const std::string& text) { return Get("/?a=" + text); }, false},
        {"name of a field", [](const std::string& text) { return Get().header("A" + text, "b"); }, false},
        {"value of a field", [](const std::string& text) { return Get().header("A", "b" + text + "c"); },
         false},
        {"end of a value", [](const std::string& text) { return Get().header("A", "b" + text); }, false},
        {"content type",
         [](const std::string& text) { return Request(Method::Put, "/").body("x", "a/b" + text); }, false},
        {"name of a parameter", [](const std::string& text) { return Get().parameter("a" + text, "b"); },
         true},
        {"value of a parameter", [](const std::string& text) { return Get().parameter("a", text); }, true},
        {"body", [](const std::string& text) { return Request(Method::Put, "/").body(text); }, true},
    };
}

class Splitting : public WireTest {};

} // namespace

TEST_P(Desync, ByFramingsThatContradictEachOtherIsRefused) {
    Check(Framings());
}

TEST_P(Desync, ByTransferCodingsIsRefused) {
    Check(Codings());
}

TEST_P(Desync, ByChunksIsRefused) {
    Check(ChunkTricks());
}

TEST_P(Desync, ByOtherAnswersReachesNoOtherCall) {
    Check(Others());
}

TEST_P(Splitting, OfARequestByAnyOfItsPartsNeverReachesTheServer) {
    const kit::LoopbackServer server(Always());
    const Client client = ClientOf(OptionsFor(server));
    std::size_t sent = 0;
    for (const Part& part : Parts()) {
        for (const std::string& text : Breaks()) {
            SCOPED_TRACE(std::string(part.name) + " with " + ::testing::PrintToString(text));
            const std::string told = Told(Send(client, part.make(text)));
            sent += part.carries ? 1U : 0U;
            EXPECT_EQ(told, part.carries ? "200 answer" : "InvalidRequest in Prepare");
            ASSERT_EQ(server.requests().size(), sent) << "no other request than those that were made";
        }
    }
    EXPECT_TRUE(server.unfinished().empty());
    for (const kit::RecordedRequest& request : server.requests()) {
        const bool carried = request.raw.find("GET /forged HTTP/1.1\r\n") != std::string::npos;
        EXPECT_EQ(carried, request.body.find("GET /forged") != std::string::npos) << "in a body alone";
    }
}

INSTANTIATE_TEST_SUITE_P(By, Desync, ::testing::Values(Driver::Blocking, Driver::Loop), NameOf);
INSTANTIATE_TEST_SUITE_P(By, Splitting, ::testing::Values(Driver::Blocking, Driver::Loop), NameOf);
