// SPDX-License-Identifier: Apache-2.0
// A pooled handle is never reset between synchronous sends: what a send does not set, it inherits from the
// one before. data/verb-matrix.txt holds, byte for byte, what each verb after each other one puts on the
// wire, and docs/verb-matrix.md tells hosts about it. Neither may change by accident.
#include <array>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include <httpclient/HttpClient.h>
#include <httpclient/HttpConnectionMgr.h>
#include <httpclient/HttpRequest.h>
#include <httpclient/HttpResponse.h>
#include <httpclient/testing/TlsLoopbackServer.h>

#include "GoldenFile.h"
#include "VerbMatrixDocument.h"
#include "Verbs.h"
#include "setting/TlsSetting.h"

using namespace httpclient::testing;

namespace {

const std::string INDENT = "    ";

Reply Answer(const RecordedRequest& request) {
    return request.method == "HEAD" ? RespondHead(200, {{"Content-Length", "6"}})
                                    : Respond(200, {}, "answer");
}

std::string Replaced(std::string text, const std::string& from, const std::string& to) {
    const std::size_t at = text.find(from);
    return at == std::string::npos ? text : text.replace(at, from.size(), to);
}

class VerbMatrix : public ::testing::Test {
protected:
    /// A server, and a client that talks to it.
    class Conversation {
    public:
        Conversation(const TlsSetting& setting, bool bSSL) : m_bSSL(bSSL) {
            ClosePool();
            if (bSSL) {
                m_server = std::make_unique<TlsLoopbackServer>(&Answer, setting.Server());
            } else {
                m_server = std::make_unique<LoopbackServer>(&Answer);
            }
            m_client.setDomain(m_server->address());
            m_client.setPort(m_server->port());
            m_client.setScheme(bSSL ? "https" : "http");
        }

        CHttpClient& client() { return m_client; }

        /// Sends a request. @return what went over the wire, and what came of it.
        Exchange Send(HTTPOPERATIONTYPE verb) {
            const std::size_t before = m_server->requests().size();
            CHttpRequest request;
            request.setVerb(verb);
            request.setUrlPath("/path");
            const bool strict = m_client.getTransferProfile() == HTTPTRANSFERPROFILE_STRICT;
            // The STRICT profile refuses a GET or HEAD that has a body.
            if (!strict || (verb != HTTPOPERATION_GET && verb != HTTPOPERATION_HEAD)) {
                request.setContent("content");
            }
            Exchange exchange;
            exchange.result = m_client.synSendRequest(request, m_response, m_bSSL);
            exchange.received = m_response.getResponseBody();
            exchange.length = m_response.getContentLen();
            if (m_server->WaitForRequests(before + 1)) {
                exchange.sent = m_server->requests().at(before);
            }
            exchange.sent.raw = Replaced(exchange.sent.raw, m_server->authority(), "<server>");
            return exchange;
        }

        CHttpConnection* Borrow() {
            return CHttpConnectionMgr::Instance()->GetConn(m_server->address(), m_server->port(), m_bSSL);
        }

        std::size_t requests() const { return m_server->requests().size(); }
        unsigned int connections() const { return m_server->connectionsAccepted(); }

    private:
        const bool m_bSSL;
        std::unique_ptr<LoopbackServer> m_server;
        CHttpClient m_client;
        CHttpResponse m_response;
    };

    Exchange OnFreshHandle(HTTPOPERATIONTYPE verb, bool bSSL) const {
        Conversation conversation(m_setting, bSSL);
        const Exchange exchange = conversation.Send(verb);
        EXPECT_EQ(conversation.requests(), 1U);
        EXPECT_EQ(conversation.connections(), 1U);
        return exchange;
    }

    Exchange AfterOnTheSameHandle(HTTPOPERATIONTYPE first, HTTPOPERATIONTYPE second, bool bSSL) const {
        Conversation conversation(m_setting, bSSL);
        conversation.Send(first);
        Exchange exchange = conversation.Send(second);
        exchange.requests = conversation.requests();
        exchange.connections = conversation.connections();
        return exchange;
    }

    Exchange AfterOnAnotherHandle(HTTPOPERATIONTYPE first, HTTPOPERATIONTYPE second, bool bSSL) const {
        Conversation conversation(m_setting, bSSL);
        conversation.Send(first);
        CHttpConnection* const used = conversation.Borrow();
        const Exchange exchange = conversation.Send(second);
        CHttpConnectionMgr::Instance()->ReleaseConn(used);
        EXPECT_EQ(conversation.requests(), 2U);
        EXPECT_EQ(conversation.connections(), 2U);
        return exchange;
    }

    static std::string Shown(const Exchange& exchange) {
        return "  request:\n" + ::Shown(exchange.sent.raw, INDENT) + "  result " +
               std::to_string(exchange.result) + ", length " +
               std::to_string(static_cast<long>(exchange.length)) + ", body:\n" +
               ::Shown(exchange.received, INDENT);
    }

    static std::string Counts(const Exchange& exchange) {
        return "  the server saw " + std::to_string(exchange.requests) + " requests on " +
               std::to_string(exchange.connections) + " connections\n";
    }

    TlsSetting m_setting;
};

} // namespace

TEST_F(VerbMatrix, OfOneHandleIsAsInTheTable) {
    std::string table;
    MatrixDocument document;
    for (const bool bSSL : {false, true}) {
        const std::string where = bSSL ? "TLS: " : "plain: ";
        for (const Verb& verb : VERBS) {
            table +=
                where + verb.name + " on a fresh handle\n" + Shown(OnFreshHandle(verb.type, bSSL)) + "\n";
        }
        for (const Verb& first : VERBS) {
            for (const Verb& second : VERBS) {
                const Exchange exchange = AfterOnTheSameHandle(first.type, second.type, bSSL);
                table += where + first.name + ", then " + second.name + "\n" + Shown(exchange) +
                         Counts(exchange) + "\n";
                document.Add(bSSL, first.name, second.name, exchange);
            }
        }
    }
    ExpectGolden(VERBS_TEST_DATA "/verb-matrix.txt", table);
    ExpectGolden(VERBS_DOCUMENTS "/verb-matrix.md", document.Text());
}

TEST_F(VerbMatrix, OfTwoHandlesKeepsThemApart) {
    for (const bool bSSL : {false, true}) {
        for (const Verb& second : VERBS) {
            const Exchange alone = OnFreshHandle(second.type, bSSL);
            for (const Verb& first : VERBS) {
                const Exchange after = AfterOnAnotherHandle(first.type, second.type, bSSL);
                SCOPED_TRACE(std::string(first.name) + ", then " + second.name + (bSSL ? " over TLS" : ""));
                EXPECT_EQ(after.sent.raw, alone.sent.raw);
                EXPECT_EQ(after.result, alone.result);
                EXPECT_EQ(after.received, alone.received);
            }
        }
    }
}

TEST_F(VerbMatrix, OfTheStrictProfileHasEachVerbAsIfItWereAlone) {
    for (const bool bSSL : {false, true}) {
        for (const Verb& second : VERBS) {
            Conversation alone(m_setting, bSSL);
            alone.client().setTransferProfile(HTTPTRANSFERPROFILE_STRICT);
            const Exchange expected = alone.Send(second.type);
            EXPECT_EQ(expected.sent.method, second.name);
            EXPECT_EQ(expected.received, second.type == HTTPOPERATION_HEAD ? "" : "answer");
            for (const Verb& first : VERBS) {
                SCOPED_TRACE(std::string(first.name) + ", then " + second.name + (bSSL ? " over TLS" : ""));
                Conversation conversation(m_setting, bSSL);
                conversation.client().setTransferProfile(HTTPTRANSFERPROFILE_STRICT);
                conversation.Send(first.type);
                const Exchange after = conversation.Send(second.type);
                EXPECT_EQ(after.sent.raw, expected.sent.raw);
                EXPECT_EQ(after.result, 200);
                EXPECT_EQ(after.received, expected.received);
                EXPECT_EQ(conversation.connections(), 1U);
            }
        }
    }
}
