// SPDX-License-Identifier: Apache-2.0
// What docs/behaviour-to-know.md shows: each file in data/ is a conversation, and stands in the page
// as it is.
#include <string>

#include <httpclient/HttpClient.h>
#include <httpclient/testing/Certificates.h>
#include <httpclient/testing/Environment.h>
#include <httpclient/testing/TlsLoopbackServer.h>
#include <httpclient/testing/TlsRoot.h>

#include "AsynFixture.h"
#include "GoldenFile.h"
#include "interpose/CurlRecorder.h"

using namespace httpclient::testing;

namespace {

void ExpectPage(const std::string& name, const std::string& text) {
    ExpectGolden(CLIENT_TEST_DATA "/../../docs/data/" + name + ".txt", text);
}

/// One client and one server; what goes between them is written down.
class Conversation {
public:
    explicit Conversation(LoopbackServer::Handler handler) : m_server(std::move(handler)) {
        PointAt(m_client, m_server);
    }

    CHttpClientImp& client() { return m_client; }
    CHttpResponse& response() { return m_response; }
    const std::string& text() const { return m_text; }
    void Note(const std::string& line) { m_text += line + "\n"; }

    /// Sends synchronously and writes down requests and result.
    void Send(const CHttpRequest& request) {
        const std::size_t before = m_server.requests().size();
        const int result = m_client.synSendRequest(request, m_response, false);
        WriteRequests(before);
        m_text += "result " + std::to_string(result);
        WriteBody(result == -1 ? "" : m_response.getResponseBody());
    }

    /// Sends asynchronously, and the same.
    void AsynSend(const CHttpRequest& request) {
        const std::size_t before = m_server.requests().size();
        Outcomes::Clear();
        m_client.asynSendRequest(request, &Outcomes::Callback, false);
        ASSERT_TRUE(Outcomes::WaitFor(1));
        WriteRequests(before);
        m_text += "callback: status " + std::to_string(Outcomes::All().at(0).status);
        WriteBody(Outcomes::All().at(0).body);
        ASSERT_TRUE(WaitUntilAllAreBack());
    }

private:
    void WriteRequests(std::size_t before) {
        const auto requests = m_server.requests();
        for (std::size_t i = before; i < requests.size(); ++i) {
            m_text += Shown(Replaced(requests[i].raw, m_server.authority(), "<server>"), "> ");
        }
    }
    void WriteBody(const std::string& body) {
        m_text += body.empty() ? ", no body\n" : ", body:\n" + Shown(body, "< ");
    }

    LoopbackServer m_server;
    CHttpClientImp m_client;
    CHttpResponse m_response;
    std::string m_text;
};

class Behaviour : public AsynTest {};

} // namespace

TEST_F(Behaviour, OfAHeadAfterAGetIsAsInThePage) {
    Conversation talk(AnswerAll("answer"));
    talk.Send(*MakeRequest(HTTPOPERATION_GET, "/a"));
    talk.Send(*MakeRequest(HTTPOPERATION_HEAD, "/b"));
    talk.Send(*MakeRequest(HTTPOPERATION_GET, "/c"));
    ExpectPage("head-after-get", talk.text());
}

TEST_F(Behaviour, OfAnAcceptedEncodingIsAsInThePage) {
    Conversation talk(AnswerAll("answer"));
    const auto request = MakeRequest(HTTPOPERATION_GET, "/a");
    request->setAcceptEncoding("gzip");
    talk.Send(*request);
    talk.Send(*MakeRequest(HTTPOPERATION_GET, "/b"));
    ExpectPage("encoding", talk.text());
}

TEST_F(Behaviour, OfAnAsynchronousPostIsAsInThePage) {
    Conversation talk(AnswerAll("answer"));
    const auto request = MakeRequest(HTTPOPERATION_POST, "/a");
    request->setContent("the body");
    request->setCustomCookieParam("session=1");
    talk.AsynSend(*request);
    request->addParam("name", "value");
    talk.AsynSend(*request);
    ExpectPage("asyn-post", talk.text());
}

TEST_F(Behaviour, OfAnAsynchronousHeadIsAsInThePage) {
    Conversation talk(AnswerAll("answer"));
    talk.AsynSend(*MakeRequest(HTTPOPERATION_HEAD, "/a"));
    ExpectPage("asyn-head", talk.text());
}

TEST_F(Behaviour, OfTlsAfterAnAsynchronousSendIsAsInThePage) {
    const CertificateAuthority trusted;
    const CertificateAuthority stranger("Stranger");
    const TlsRoot root(trusted.certificatePem(), trusted.IssueClient(), "", "");
    const ScopedEnvironment environment("SSL_ROOT", root.path());
    TlsOptions options;
    options.clientCertificate = ClientCertificate::Request;
    options.clientCaPem = trusted.certificatePem();

    std::string text;
    for (const bool known : {true, false}) {
        options.identity = known ? trusted.IssueServer() : stranger.IssueServer();
        TlsLoopbackServer server(AnswerAll("answer"), options);
        CHttpClientImp client;
        PointAt(client, server);
        client.setScheme("https");
        const auto request = MakeRequest(HTTPOPERATION_GET);
        const auto send = [&] {
            CHttpResponse response;
            const std::size_t before = server.requests().size();
            const int result = client.synSendRequest(*request, response, true);
            text += "synchronous send: result " + std::to_string(result);
            if (server.requests().size() > before) {
                const std::string peer = server.requests().back().peerSubject;
                text += peer.empty() ? ", no client certificate" : ", client certificate " + peer;
            }
            text += "\n";
        };
        text += known ? "A server that the platform's authority vouches for:\n"
                      : "A server that it does not vouch for:\n";
        send();
        Outcomes::Clear();
        client.asynSendRequest(*request, &Outcomes::Callback, true);
        ASSERT_TRUE(Outcomes::WaitFor(1));
        text += "asynchronous send: status " + std::to_string(Outcomes::All().at(0).status) + "\n";
        ASSERT_TRUE(WaitUntilAllAreBack());
        send();
    }
    ExpectPage("tls-after-asyn", text);
}

TEST_F(Behaviour, OfARefusedTokenIsAsInThePage) {
    Conversation talk(ReplyScript({Respond(403, {}, "refused"), Respond(200, {}, "granted")}));
    talk.client().EnableSiaAccess();
    talk.Send(*MakeRequest(HTTPOPERATION_GET, "/a"));
    talk.Note("head:");
    ExpectPage("refused", talk.text() + Shown(talk.response().getResponseHead(), "< "));
}

TEST_F(Behaviour, OfAValueInUtf8IsAsInThePage) {
    Conversation talk(AnswerAll("answer"));
    const auto request = MakeRequest(HTTPOPERATION_GET, "/a");
    request->addParam("name", "Zo\xc3\xab");
    talk.Send(*request);
    request->setAcceptCharset("UTF-8");
    talk.Send(*request);
    ExpectPage("charset", talk.text());
}

TEST_F(Behaviour, OfABodyWithANulIsAsInThePage) {
    Conversation talk(AnswerAll("answer"));
    const auto request = MakeRequest(HTTPOPERATION_POST, "/a");
    request->setContent(std::string("seen\0unseen", 11));
    talk.Send(*request);
    ExpectPage("nul", talk.text());
}

TEST_F(Behaviour, OfALineBreakInAHeaderValueIsAsInThePage) {
    Conversation talk(AnswerAll("answer"));
    const auto request = MakeRequest(HTTPOPERATION_GET, "/a");
    request->addRequestHeadEntry("X-Name", "value\r\nX-Admin: yes");
    talk.Send(*request);
    ExpectPage("line-break", talk.text());
}

TEST_F(Behaviour, OfADroppedConnectionIsAsInThePage) {
    Conversation talk(
        ReplyScript({Respond(200, {}, "first"), Silence(After::Close), Respond(200, {}, "second")}));
    talk.Send(*MakeRequest(HTTPOPERATION_GET, "/a"));
    const auto request = MakeRequest(HTTPOPERATION_POST, "/order");
    request->setContent("one");
    talk.Send(*request);
    ExpectPage("sent-twice", talk.text());
}

TEST_F(Behaviour, OfSetAcceptIsAsInThePage) {
    Conversation talk(AnswerAll("answer"));
    const auto request = MakeRequest(HTTPOPERATION_GET, "/a");
    request->setAccept("application/json");
    request->addRequestHeadEntry("X-Empty", "");
    talk.Send(*request);
    request->removeRequestHead();
    request->addRequestHeadEntry("Accept", "application/json");
    request->addRequestHeadEntry("Content-Type", "text/plain");
    request->addRequestHeadEntry("X-Empty", " ");
    talk.Send(*request);
    ExpectPage("header-entries", talk.text());
}

TEST_F(Behaviour, OfAParameterWithoutValuesIsAsInThePage) {
    Conversation talk(AnswerAll("answer"));
    const auto request = MakeRequest(HTTPOPERATION_DELETE, "/items");
    request->addParam("id", "7");
    request->addParam("kind", std::vector<std::string>{});
    talk.Send(*request);
    ExpectPage("no-values", talk.text());
}

TEST_F(Behaviour, OfTheContentTypeOfAReusedResponseIsAsInThePage) {
    Conversation talk(ReplyScript({Respond(200, {{"Content-Type", "text/html"}}, "<p>"),
                                   Respond(200, {{"Content-Type", "application/json"}}, "{}")}));
    for (const char* path : {"/a", "/b"}) {
        talk.Send(*MakeRequest(HTTPOPERATION_GET, path));
        talk.Note("content type " + talk.response().getContentType());
    }
    ExpectPage("content-type", talk.text());
}

TEST_F(Behaviour, OfAMethodWithoutMemoryIsAsInThePage) {
    Conversation talk(AnswerAll("answer"));
    CurlRecorder recorder; // holds the memory for the method back
    recorder.ForceOption(CURLOPT_CUSTOMREQUEST, CURLE_OUT_OF_MEMORY);
    talk.Send(*MakeRequest(HTTPOPERATION_DELETE, "/items/7"));
    ExpectPage("lost-method", talk.text());
}

TEST_F(Behaviour, OfValuesThatCannotBeEscapedIsAsInThePage) {
    Conversation talk(AnswerAll("answer"));
    CurlRecorder recorder;
    recorder.Force(CurlCall::EasyInit); // the request's own handle
    const auto request = MakeRequest(HTTPOPERATION_DELETE, "/items");
    request->addParam("id", "7");
    talk.Send(*request);
    ExpectPage("lost-values", talk.text());
}

TEST_F(Behaviour, OfAHeadThatIsCutIsAsInThePage) {
    Conversation talk(
        ReplyScript({Raw("HTTP/1.1 200 OK\r\nServer: s\r\nContent-Type: text/ht", After::Close)}));
    talk.Send(*MakeRequest(HTTPOPERATION_GET, "/a"));
    talk.Note("head:");
    talk.Note(Shown(talk.response().getResponseHead(), "< ") + "content type \"" +
              talk.response().getContentType() + "\"");
    ExpectPage("cut-head", talk.text());
}
