// SPDX-License-Identifier: Apache-2.0
// Answers as they come over a connection: nothing half, nothing of another, and what becomes of the connection.
#include <string>
#include <vector>

#include <zlib.h>

#include <httpclient/testing/Environment.h>
#include <httpclient/testing/LoopbackServer.h>

#include "http1/GrammarError.h"
#include "setting/EngineTest.h"
#include "setting/ScriptedServer.h"

namespace {

class Answers : public EngineTest {
protected:
    /// Sends GETs to a server that gives these replies in order. @return what became of them.
    std::vector<std::string> SendAll(const std::vector<kit::Reply>& replies, Method method = Method::Get) {
        const kit::ReplyScript script(replies);
        kit::LoopbackServer server(script);
        const Client client = ClientOf(server);
        std::vector<std::string> told;
        for (std::size_t i = 0; i < replies.size(); ++i) {
            told.push_back(Told(client.Send({method, "/"})));
        }
        m_accepted = server.connectionsAccepted();
        return told;
    }
    std::string SendOne(const std::string& bytes, kit::After after = kit::After::Close,
                        Method method = Method::Get) {
        return SendAll({kit::Raw(bytes, after)}, method).front();
    }

    using Texts = std::vector<std::string>;
    unsigned int m_accepted = 0;
};

std::string Gzip(const std::string& text) {
    z_stream stream{};
    EXPECT_EQ(deflateInit2(&stream, 9, Z_DEFLATED, 15 + 16, 8, Z_DEFAULT_STRATEGY), Z_OK);
    std::string coded(deflateBound(&stream, text.size()) + 32, '\0');
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
    stream.avail_in = static_cast<uInt>(text.size());
    stream.next_out = reinterpret_cast<Bytef*>(coded.data());
    stream.avail_out = static_cast<uInt>(coded.size());
    EXPECT_EQ(deflate(&stream, Z_FINISH), Z_STREAM_END);
    coded.resize(stream.total_out);
    deflateEnd(&stream);
    return coded;
}

const kit::Reply SOUND = kit::Respond(200, {}, "sound");

} // namespace

TEST_F(Answers, AreGivenWithStatusFieldsAndBody) {
    kit::LoopbackServer server([](const kit::RecordedRequest&) {
        return kit::Raw("HTTP/1.1 404 Gone Fishing\r\nA: 1\r\nb:  two words \r\na: 3\r\nEmpty:\r\n"
                        "Transfer-Encoding: chunked\r\n\r\n3\r\nabc\r\n0\r\nTrailer-Field: x\r\n\r\n");
    });
    const Result result = ClientOf(server).Send(Get());
    ASSERT_EQ(Told(result), "404 abc");
    EXPECT_EQ(result->headerCount(), 5U) << "trailers are not among them";
    EXPECT_EQ(result->header(1), (std::pair<std::string_view, std::string_view>("b", "two words")));
    EXPECT_EQ(result->header("A"), "1");
    EXPECT_EQ(result->header("B"), "two words");
    EXPECT_EQ(result->header("empty"), "");
    EXPECT_EQ(result->header("Trailer-Field"), std::nullopt);
    EXPECT_EQ(result->headerValues("a"), (std::vector<std::string_view>{"1", "3"}));
    EXPECT_THROW(static_cast<void>(result->header(5)), std::out_of_range);
    EXPECT_EQ(result->attempts(), 1);
}

TEST_F(Answers, KeepTheirConnection) {
    kit::LoopbackServer server(Always());
    const Client client = ClientOf(server);
    EXPECT_EQ(ToldFully(client.Send(Get())), "200 answer, attempts 1");
    EXPECT_EQ(ToldFully(client.Send(Post())), "200 answer, attempts 1, reused");
    EXPECT_EQ(ToldFully(Client(client).Send(Get())), "200 answer, attempts 1, reused");
    EXPECT_EQ(ToldFully(ClientOf(server).Send(Get())), "200 answer, attempts 1, reused")
        << "clients of the same origin and options share connections";
    EXPECT_EQ(server.connectionsAccepted(), 1U);
}

TEST_F(Answers, TellTheTimesOfTheirPhases) {
    kit::LoopbackServer server([](const kit::RecordedRequest&) { return kit::Delayed(SOUND, 20ms); });
    const Client client = ClientOf(server);
    Result result = client.Send(Get());
    ASSERT_EQ(Told(result), "200 sound");
    EXPECT_GT(result->timings().of(Phase::Connect), 0ns);
    EXPECT_GT(result->timings().of(Phase::Send), 0ns);
    EXPECT_GE(result->timings().of(Phase::Head), 15ms);
    EXPECT_EQ(result->timings().of(Phase::Handshake), 0ns);
    EXPECT_EQ(result->timings().of(Phase::Token), 0ns);
    std::chrono::nanoseconds sum{0};
    for (int phase = 0; phase <= static_cast<int>(Phase::Body); ++phase) {
        sum += result->timings().of(static_cast<Phase>(phase));
    }
    EXPECT_LE(sum, result->timings().total());
    result = client.Send(Get());
    EXPECT_EQ(result->timings().of(Phase::Connect), 0ns) << "it did not happen";
}

TEST_F(Answers, ToHeadHaveNoBodyWhateverTheyAnnounce) {
    const kit::Reply head = kit::RespondHead(200, {{"Content-Length", "100"}});
    EXPECT_EQ(SendAll({head, kit::RespondHead(200, {{"Transfer-Encoding", "chunked"}}), head}, Method::Head),
              (Texts{"200 ", "200 ", "200 "}));
    EXPECT_EQ(m_accepted, 1U);
}

TEST_F(Answers, Of204And304HaveNoBodyWhateverTheyAnnounce) {
    EXPECT_EQ(SendAll({kit::RespondHead(304, {{"Content-Length", "100"}}), SOUND}),
              (Texts{"304 ", "200 sound"}));
    EXPECT_EQ(m_accepted, 1U);
    EXPECT_EQ(SendAll({kit::RespondHead(204), SOUND}), (Texts{"204 ", "200 sound"}));
    EXPECT_EQ(m_accepted, 1U);
    EXPECT_EQ(SendAll({kit::Raw("HTTP/1.1 204 x\r\nContent-Length: 5\r\n\r\n"), SOUND}),
              (Texts{"204 ", "200 sound"}));
    EXPECT_EQ(m_accepted, 2U) << "what it announced may follow, and must not be the next answer";
}

TEST_F(Answers, ThatAreInterimAreSkippedUpToEight) {
    const std::string interim = "HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 103 Early\r\nLink: x\r\n\r\n";
    const std::string final = "HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nfinal";
    EXPECT_EQ(SendOne(interim + final), "200 final");
    EXPECT_EQ(SendOne(interim + interim + interim + interim + final), "200 final");
    EXPECT_EQ(SendOne(interim + interim + interim + interim + interim + final), "Protocol in Head");
    EXPECT_EQ(SendOne("HTTP/1.1 101 Switching\r\nUpgrade: x\r\n\r\n" + final), "Protocol in Head");
}

TEST_F(Answers, ThatBreakTheGrammarAreProtocolFailures) {
    const std::vector<std::string> heads = {
        "HTTP/1.1 200 OK\r\nContent-Length: 1\r\nTransfer-Encoding: chunked\r\n\r\n",
        "HTTP/1.1 200 OK\r\nContent-Length: 1\r\nContent-Length: 2\r\n\r\n",
        "HTTP/1.1 200 OK\r\nTransfer-Encoding: gzip, chunked\r\n\r\n",
        "HTTP/1.1 200 OK\nContent-Length: 1\r\n\r\n",
        "HTTP/1.1 000 OK\r\n\r\n",
        "HTTP/1.1 600 OK\r\n\r\n",
        "HTTP/2 200 OK\r\n\r\n",
        "HTTP/1.1 200 OK\r\nA : 1\r\n\r\n",
        "nonsense\r\n\r\n",
    };
    for (const std::string& bytes : heads) {
        EXPECT_EQ(SendOne(bytes), "Protocol in Head") << bytes;
    }
    EXPECT_EQ(SendOne("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\nx\r\n"), "Protocol in Body");
    EXPECT_EQ(SendOne("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n1\r\nab\r\n"),
              "Protocol in Body");
}

TEST_F(Answers, ThatEndEarlyAreLostAndNeverShorter) {
    const std::string head = "HTTP/1.1 200 OK\r\n";
    for (const kit::After after : {kit::After::Close, kit::After::Reset}) {
        EXPECT_EQ(SendOne("", after), "ConnectionLost in Head");
        EXPECT_EQ(SendOne(head, after), "ConnectionLost in Head");
        EXPECT_EQ(SendOne(head + "Content-Length: 5\r\n\r\n", after), "ConnectionLost in Body");
        EXPECT_EQ(SendOne(head + "Content-Length: 5\r\n\r\nabcd", after), "ConnectionLost in Body");
        EXPECT_EQ(SendOne(head + "Content-Length: 500000\r\n\r\n" + std::string(300000, 'x'), after),
                  "ConnectionLost in Body");
        EXPECT_EQ(SendOne(head + "Transfer-Encoding: chunked\r\n\r\n4\r\nabcd\r\n", after),
                  "ConnectionLost in Body");
        EXPECT_EQ(SendOne(head + "Transfer-Encoding: chunked\r\n\r\n4\r\nabcd\r\n0\r\n", after),
                  "ConnectionLost in Body");
    }
}

TEST_F(Answers, ThatEndWithTheConnectionAreWholeWhenItCloses) {
    EXPECT_EQ(SendAll({kit::RespondUntilClose(200, {}, "until the end"), SOUND}),
              (Texts{"200 until the end", "200 sound"}));
    EXPECT_EQ(m_accepted, 2U);
    EXPECT_EQ(SendOne("HTTP/1.1 200 OK\r\n\r\nuntil", kit::After::Reset), "ConnectionLost in Body");
}

TEST_F(Answers, OfAnySizeComeWhole) {
    std::string content(3UL * 1024 * 1024 + 17, '\0');
    for (std::size_t i = 0; i < content.size(); ++i) {
        content[i] = static_cast<char>(i * 7 + i / 251);
    }
    const std::vector<std::string> chunks = {content.substr(0, 1), content.substr(1, 200000),
                                             content.substr(200001)};
    EXPECT_TRUE(SendAll({kit::Respond(200, {}, content), kit::RespondChunked(200, {}, chunks),
                         kit::Respond(200, {}, content)}) ==
                (Texts{"200 " + content, "200 " + content, "200 " + content}));
    EXPECT_EQ(m_accepted, 1U);
}

TEST_F(Answers, WithBytesAfterThemCloseTheirConnection) {
    const std::string two = "HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\none"
                            "HTTP/1.1 200 OK\r\nContent-Length: 6\r\n\r\nforged";
    EXPECT_EQ(SendAll({kit::Raw(two), SOUND}), (Texts{"200 one", "200 sound"}));
    EXPECT_EQ(m_accepted, 2U);
    const std::string big = std::string(100000, 'x');
    EXPECT_EQ(SendAll({kit::Raw("HTTP/1.1 200 OK\r\nContent-Length: 100000\r\n\r\n" + big + "!"), SOUND}),
              (Texts{"200 " + big, "200 sound"}));
    EXPECT_EQ(m_accepted, 2U);
}

TEST_F(Answers, ThatSayCloseCloseTheirConnection) {
    EXPECT_EQ(SendAll({kit::Respond(200, {{"Connection", "close"}}, "one"), SOUND}),
              (Texts{"200 one", "200 sound"}));
    EXPECT_EQ(m_accepted, 2U);
    EXPECT_EQ(SendAll({kit::Raw("HTTP/1.0 200 OK\r\nContent-Length: 3\r\n\r\none"), SOUND}),
              (Texts{"200 one", "200 sound"}));
    EXPECT_EQ(m_accepted, 2U);
    EXPECT_EQ(SendAll({kit::Raw("HTTP/1.0 200 OK\r\nConnection: keep-alive\r\nContent-Length: 3\r\n\r\none"),
                       SOUND}),
              (Texts{"200 one", "200 sound"}));
    EXPECT_EQ(m_accepted, 1U);
}

TEST_F(Answers, ThatSayHowLongTheirConnectionIsKeptAreKeptTo) {
    EXPECT_EQ(SendAll({kit::Respond(200, {{"Keep-Alive", "timeout=0"}}, "one"), SOUND}),
              (Texts{"200 one", "200 sound"}));
    EXPECT_EQ(m_accepted, 2U);
    for (const char* value :
         {"timeout=60", "timeout=99999999999999999999", "timeout=1000000000", "max=5", "timeout"}) {
        EXPECT_EQ(SendAll({kit::Respond(200, {{"Keep-Alive", value}}, "one"), SOUND}),
                  (Texts{"200 one", "200 sound"}));
        EXPECT_EQ(m_accepted, 1U) << value;
    }
}

TEST_F(Answers, BeyondALimitAreTooLarge) {
    const auto send = [this](const kit::Reply& reply, bool decode = false) {
        kit::LoopbackServer server([&](const kit::RecordedRequest&) { return reply; });
        const Client client = ClientOf(OptionsFor(server).maxBody(100).maxHead(200).decompress(decode));
        const Result result = client.Send(Get());
        return result ? "200 with " + std::to_string(result->body().size()) : Told(result);
    };
    const std::string hundred(100, 'x');
    EXPECT_EQ(send(kit::Respond(200, {}, hundred)), "200 with 100");
    EXPECT_EQ(send(kit::Respond(200, {}, hundred + "x")), "TooLarge in Body");
    EXPECT_EQ(send(kit::RespondChunked(200, {}, {hundred})), "200 with 100");
    EXPECT_EQ(send(kit::RespondChunked(200, {}, {hundred, "x"})), "TooLarge in Body");
    EXPECT_EQ(send(kit::RespondUntilClose(200, {}, hundred)), "200 with 100");
    EXPECT_EQ(send(kit::RespondUntilClose(200, {}, hundred + "x")), "TooLarge in Body");
    const kit::Headers coded = {{"Content-Encoding", "gzip"}};
    EXPECT_EQ(send(kit::Respond(200, coded, Gzip(hundred)), true), "200 with 100");
    EXPECT_EQ(send(kit::Respond(200, coded, Gzip(std::string(100000, 'x'))), true), "TooLarge in Body");
    EXPECT_EQ(send(kit::Respond(200, {{"A", std::string(100, 'a')}}, "")), "200 with 0");
    EXPECT_EQ(send(kit::Respond(200, {{"A", std::string(200, 'a')}}, "")), "TooLarge in Head");
    EXPECT_EQ(send(kit::Raw("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n0\r\nA: " +
                            std::string(200, 'a') + "\r\n\r\n")),
              "TooLarge in Body");
}

TEST_F(Answers, AreDecodedOnlyWhereThatIsAskedFor) {
    const std::string text(5000, 'q');
    const std::string coded = Gzip(text);
    const kit::Headers headers = {{"Content-Encoding", "gzip"}};
    EXPECT_EQ(SendAll({kit::Respond(200, headers, coded)}), Texts{"200 " + coded});
    kit::LoopbackServer server(kit::ReplyScript(
        {kit::Respond(200, headers, coded), kit::Respond(200, headers, coded.substr(0, coded.size() - 1)),
         kit::Respond(200, headers, "nonsense")}));
    const Client client = ClientOf(OptionsFor(server).decompress(true));
    const Result whole = client.Send(Get());
    EXPECT_EQ(Told(whole), "200 " + text);
    EXPECT_EQ(whole->header("Content-Encoding"), "gzip") << "as received";
    EXPECT_EQ(Told(client.Send(Get())), "Protocol in Body") << "never a shorter body";
    EXPECT_EQ(Told(client.Send(Get())), "Protocol in Body");
}

TEST_F(Answers, TellTheGrammarsErrorAndNothingOfTheAnswer) {
    kit::LoopbackServer server([](const kit::RecordedRequest&) {
        return kit::Raw("HTTP/1.1 200 OK\r\nSecret : secret\r\n\r\n", kit::After::Close);
    });
    const Result result = ClientOf(server).Send(Get("/path?secret=1"));
    EXPECT_EQ(result.failure().code(), http1::make_error_code(http1::GrammarError::BadField));
    EXPECT_EQ(result.failure().message(), "Protocol in Head: a header field of the answer is malformed");
}

TEST_F(Answers, ThatAreRedirectsAreNotFollowedAndCookiesNotKept) {
    kit::LoopbackServer server([](const kit::RecordedRequest&) {
        return kit::Respond(302, {{"Location", "/elsewhere"}, {"Set-Cookie", "a=b"}}, "moved");
    });
    const Client client = ClientOf(server);
    EXPECT_EQ(Told(client.Send(Get())), "302 moved");
    EXPECT_EQ(Told(client.Send(Get())), "302 moved");
    ASSERT_EQ(server.requests().size(), 2U);
    EXPECT_EQ(server.requests()[1].Header("Cookie"), std::nullopt);
}

TEST_F(Answers, ComeFromTheOriginWhateverProxyTheEnvironmentNames) {
    const kit::ScopedEnvironment proxy("http_proxy", "http://127.0.0.1:1");
    const kit::ScopedEnvironment all("ALL_PROXY", "http://127.0.0.1:1");
    kit::LoopbackServer server(Always());
    EXPECT_EQ(Told(ClientOf(server).Send(Get())), "200 answer");
}
