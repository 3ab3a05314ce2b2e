// SPDX-License-Identifier: Apache-2.0
// What docs/strict-profile.md shows: for each row of its table the same calls on both roads, and what goes over the wire.
#include <memory>
#include <optional>
#include <string>

#include <zlib.h>

#include <httpclient/testing/Environment.h>
#include <httpclient/testing/FakeTokenService.h>
#include <httpclient/testing/TlsLoopbackServer.h>

#include "BothRoads.h"
#include "identity/HttpSiaToken.h"
#include "setting/TlsSetting.h"

using namespace httpclient::testing;

namespace {

class StrictRow : public StrictTest {};

std::unique_ptr<CHttpRequest> Get(const std::string& path = "/a") {
    return MakeRequest(HTTPOPERATION_GET, path);
}

std::string Gzipped(const std::string& text) {
    z_stream stream{};
    deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, 15 + 16, 8, Z_DEFAULT_STRATEGY);
    std::string packed(200, '\0');
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
    stream.avail_in = static_cast<uInt>(text.size());
    stream.next_out = reinterpret_cast<Bytef*>(packed.data());
    stream.avail_out = static_cast<uInt>(packed.size());
    deflate(&stream, Z_FINISH);
    packed.resize(stream.total_out);
    deflateEnd(&stream);
    return packed;
}

/// A process that gives the service "orders" a token, and has none for "stock". The server refuses the first one.
class TokenRow {
public:
    TokenRow() {
        m_application.Write("etc/authconf/jwt/service_url_config.json",
                            R"({"/orders": {"type": "sia", "service": "orders"},
                                "/stock": {"type": "sia", "service": "stock"}})");
        m_application.Write("etc/authconf/jwt/jwt_billing.json", R"({"jwt": "credential"})");
        CHttpSiaToken* const identity = CHttpSiaToken::Instance(); // which may have been read by another test
        identity->GetServiceIdentitySwitch();
        identity->LoadServiceUrlConf();
        identity->LoadJWTFile();
    }
    ~TokenRow() {
        m_switch.reset();
        CHttpSiaToken::Instance()->GetServiceIdentitySwitch();
        CHttpSiaToken::Instance()->EraseTokenFromBuf("/orders", false);
    }
    TokenRow(const TokenRow&) = delete;
    TokenRow& operator=(const TokenRow&) = delete;

    std::unique_ptr<LoopbackServer> MakeServer() {
        m_service.SetTokens("orders", {"first", "second"});
        return std::make_unique<LoopbackServer>([](const RecordedRequest& request) {
            return request.Header("x-access-token") == "first" ? Respond(403, {}, "refused")
                                                               : Respond(200, {}, "granted");
        });
    }

private:
    const TemporaryDirectory m_application;
    const ScopedEnvironment m_root{"APP_ROOT", m_application.path()};
    const ScopedEnvironment m_name{"APP_NAME", "billing"};
    std::optional<ScopedEnvironment> m_switch{std::in_place, "enableServiceIdentity", "true"};
    const std::string m_address = ProcessLoopbackAddress();
    const ScopedEnvironment m_maintenance{"OVEX_MAINTENANCE_IP", m_address};
    const TlsSetting m_tls;
    FakeTokenService m_service{m_tls.Server(), m_address};
};

} // namespace

TEST_F(StrictRow, OfTlsIsAsInThePage) {
    const TlsSetting setting;
    const auto makeServer = [&] {
        return std::make_unique<TlsLoopbackServer>(AnswerAll("answer"), setting.Server());
    };
    ExpectBothRoads("tls", makeServer, [](Conversation& talk) {
        talk.Note("The scheme is http, the argument of the send true:");
        talk.Send(*Get(), true);
        const auto& server = static_cast<const TlsLoopbackServer&>(talk.server());
        for (const std::string& failure : server.failedHandshakes()) {
            talk.Note("the server, instead of a handshake: " + failure);
        }
    });
}

TEST_F(StrictRow, OfTheVerbIsAsInThePage) {
    ExpectBothRoads("verb", AnswerAll("answer"), [](Conversation& talk) {
        talk.Send(*Get());
        talk.Send(*MakeRequest(HTTPOPERATION_HEAD, "/b"));
        talk.Send(*Get("/c"));
        talk.Send(*MakeRequest(HTTPOPERATION_NOT_SET, "/d"));
    });
}

TEST_F(StrictRow, OfThePathIsAsInThePage) {
    ExpectBothRoads("path", AnswerAll("answer"), [](Conversation& talk) {
        talk.Send(*Get(""));
        talk.Send(*Get("/a b"));
    });
}

TEST_F(StrictRow, OfParametersIsAsInThePage) {
    ExpectBothRoads("parameters", AnswerAll("answer"), [](Conversation& talk) {
        const auto post = MakeRequest(HTTPOPERATION_POST, "/a");
        post->setAcceptCharset("UTF-8");
        post->addParam("a&b", "1 2");
        talk.Send(*post);
        post->setContent("body");
        talk.Send(*post);
        const auto unconvertible = MakeRequest(HTTPOPERATION_DELETE, "/items");
        unconvertible->addParam("id", "Zo\xc3"); // taken for GBK, its last character is incomplete
        talk.Send(*unconvertible);
    });
}

TEST_F(StrictRow, OfTheBodyIsAsInThePage) {
    ExpectBothRoads("body", AnswerAll("answer"), [](Conversation& talk) {
        const auto post = MakeRequest(HTTPOPERATION_POST, "/a");
        post->setContent(std::string("seen\0unseen", 11));
        talk.Send(*post);
        talk.AsynSend(*post);
        const auto get = Get();
        get->setContent("body");
        talk.Send(*get);
    });
}

TEST_F(StrictRow, OfTheCookieIsAsInThePage) {
    ExpectBothRoads("cookie", AnswerAll("answer"), [](Conversation& talk) {
        const auto get = Get();
        talk.Send(*get);
        get->setCustomCookieParam("session=1");
        talk.Send(*get);
        talk.AsynSend(*get);
    });
}

TEST_F(StrictRow, OfHeaderEntriesIsAsInThePage) {
    ExpectBothRoads("entries", AnswerAll("answer"), [](Conversation& talk) {
        const auto get = Get();
        get->addRequestHeadEntry("X-Name", "value\r\nX-Admin: yes");
        talk.Send(*get);
    });
}

TEST_F(StrictRow, OfAnAcceptedEncodingIsAsInThePage) {
    const std::string packed = Gzipped("answer");
    const auto handler = [&](const RecordedRequest& request) {
        return request.Header("Accept-Encoding") ? Respond(200, {{"Content-Encoding", "gzip"}}, packed)
                                                 : Respond(200, {}, "answer");
    };
    ExpectBothRoads("encoding", handler, [](Conversation& talk) {
        const auto get = Get();
        get->setAcceptEncoding("gzip");
        talk.Send(*get);
        talk.Send(*Get("/b"));
        talk.AsynSend(*Get("/c"));
    });
}

TEST_F(StrictRow, OfTokensIsAsInThePage) {
    TokenRow tokens;
    ExpectBothRoads(
        "tokens", [&] { return tokens.MakeServer(); },
        [](Conversation& talk) {
            talk.Note("The server refuses the first token:");
            talk.Send(*Get("/orders"));
            talk.Note("The token service has none:");
            talk.Send(*Get("/stock"));
        });
}

TEST_F(StrictRow, OfTheCertificateIsAsInThePage) {
    const TlsSetting setting;
    TlsOptions options = setting.Server();
    CertificateProfile profile;
    profile.commonName = "orders";
    profile.names = {"orders"};
    options.identity = setting.ca().Issue(profile);
    const auto makeServer = [&] { return std::make_unique<TlsLoopbackServer>(AnswerAll("answer"), options); };
    ExpectBothRoads("certificate", makeServer, [](Conversation& talk) {
        talk.client().setScheme("https");
        const auto get = MakeRequest(HTTPOPERATION_GET, "/");
        talk.Note("A certificate of our authority, for another name:");
        talk.Send(*get, true);
        talk.Note("After setServerName(\"orders\"):");
        talk.client().setServerName("orders");
        talk.Send(*get, true);
    });
}

TEST_F(StrictRow, OfAnAsynchronousSendIsAsInThePage) {
    ExpectBothRoads("asynchronous", AnswerAll("answer"), [](Conversation& talk) {
        talk.AsynSend(*MakeRequest(HTTPOPERATION_HEAD, "/a"));
        talk.client().setPort(RefusingPort());
        talk.AsynSend(*Get("/b"));
    });
}

TEST_F(StrictRow, OfAnswersIsAsInThePage) {
    const auto handler = [](const RecordedRequest& request) {
        if (request.target == "/interim") {
            return Raw("HTTP/1.1 103 Early Hints\r\nLink: </a>\r\n\r\nHTTP/1.1 200 OK\r\nContent-Length: "
                       "6\r\n\r\nanswer");
        }
        return request.target == "/cut"
                   ? Raw("HTTP/1.1 200 OK\r\nServer: s\r\nContent-Type: text/ht", After::Close)
                   : Respond(600, {}, "answer");
    };
    ExpectBothRoads("answers", handler, [](Conversation& talk) {
        for (const char* path : {"/interim", "/cut", "/600"}) {
            talk.SendForHead(*Get(path));
        }
    });
}

TEST_F(StrictRow, OfADroppedConnectionIsAsInThePage) {
    const auto makeServer = [] {
        return std::make_unique<LoopbackServer>(
            ReplyScript({Respond(200, {}, "first"), Silence(After::Close), Respond(200, {}, "second")}));
    };
    ExpectBothRoads("dropped", makeServer, [](Conversation& talk) {
        talk.Send(*Get());
        const auto post = MakeRequest(HTTPOPERATION_POST, "/order");
        post->setContent("one");
        talk.Send(*post);
    });
}

TEST_F(StrictRow, OfProxiesIsAsInThePage) {
    LoopbackServer proxy(AnswerAll("of the proxy"));
    LoopbackServer server(AnswerAll("answer"));
    const ScopedEnvironment variable("http_proxy", proxy.url(""));
    const ScopedEnvironment exceptions("no_proxy");
    CHttpClient client;
    PointAt(client, server);
    CHttpResponse response;
    EXPECT_EQ(client.synSendRequest(*Get(), response, false), 200);
    EXPECT_EQ(response.getResponseBody(), "of the proxy");
    client.setTransferProfile(HTTPTRANSFERPROFILE_STRICT);
    EXPECT_EQ(client.synSendRequest(*Get(), response, false), 200);
    EXPECT_EQ(response.getResponseBody(), "answer");
}

TEST_F(StrictRow, OfTheReasonIsAsInThePage) {
    const auto cut = [](const RecordedRequest&) {
        return Raw("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nhalf", After::Close);
    };
    ExpectBothRoads("reason", cut, [](Conversation& talk) { talk.Send(*Get()); });
}
