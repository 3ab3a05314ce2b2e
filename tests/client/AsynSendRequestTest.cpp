// SPDX-License-Identifier: Apache-2.0
// What an asynchronous send puts on the wire, and what it asks of libcurl, in order.
#include <algorithm>
#include <string>
#include <type_traits>
#include <vector>

#include <httpclient/HttpConnectionMgr.h>

#include "AsynFixture.h"
#include "CurlTranscript.h"
#include "GoldenFile.h"
#include "client/AsyncOperation.h"
#include "interpose/CurlRecorder.h"
#include "pool/HttpConnection.h"

using namespace httpclient::testing;

namespace {

using Lines = std::vector<std::string>;

/// A send whose calls into libcurl are written down.
struct CallsRow {
    const char* heading;
    HTTPOPERATIONTYPE verb;
    const char* entry = nullptr;     ///< Value of a header entry.
    const char* parameter = nullptr; ///< Value of a parameter.
    bool bTimeouts = false;          ///< Whether 11 s and 12 s take the place of the client's own.
    bool bSSL = false; ///< The server speaks plain HTTP, and the scheme says so; only the options matter.
};

const CallsRow CALLS[] = {
    {"a GET with a header: reset, URL, headers, time-outs and nothing else", HTTPOPERATION_GET, "1", nullptr,
     true},
    {"a bare GET: no header list is set, and none freed", HTTPOPERATION_GET},
    {"a PUT: its method, then its parameters as body", HTTPOPERATION_PUT, nullptr, "v"},
    {"a POST: POST, then its parameters as body", HTTPOPERATION_POST, nullptr, "v"},
    {"a DELETE: its method alone", HTTPOPERATION_DELETE},
    {"a GET over TLS: verification is switched off", HTTPOPERATION_GET, nullptr, nullptr, false, true},
};

class AsynSendRequest : public AsynTest {
protected:
    AsynSendRequest() { PointAt(m_client, m_server); }

    /// @return the bytes that the server got, its own address replaced.
    std::string BytesOf(const CHttpRequest& request) {
        EXPECT_EQ(Send(m_client, request).status, 200);
        const auto requests = m_server.requests();
        return requests.empty() ? "" : Replaced(requests.back().raw, m_server.authority(), "<server>");
    }

    /// @return the calls into libcurl, with the passes of the wait loop after the first left out.
    Lines CallsOf(CHttpClient& client, const CHttpRequest& request, bool bSSL) {
        NextConnection(m_server, true); // so that making it is no part of the list
        const CurlRecorder recorder;
        Send(client, request, bSSL);
        CurlTranscript transcript;
        transcript.Replace(m_server.authority(), "<server>");
        Lines lines = transcript.Of(recorder.Events());
        const Lines pass{"multi_timeout", "multi_fdset", "multi_perform"};
        for (;;) {
            const auto first = std::search(lines.begin(), lines.end(), pass.begin(), pass.end());
            if (first == lines.end()) {
                return lines;
            }
            const auto second = std::search(first + 1, lines.end(), pass.begin(), pass.end());
            if (second == lines.end()) {
                return lines;
            }
            lines.erase(second, second + static_cast<std::ptrdiff_t>(pass.size()));
        }
    }

    LoopbackServer m_server{AnswerAll("answer")};
    CHttpClient m_client;
};

} // namespace

TEST_F(AsynSendRequest, AsksOfLibcurlWhatTheTranscriptSays) {
    std::string transcript;
    for (const CallsRow& row : CALLS) {
        const auto request = MakeRequest(row.verb, "/path");
        if (row.entry != nullptr) {
            request->addRequestHeadEntry("A", row.entry);
        }
        if (row.parameter != nullptr) {
            request->addParam("k", row.parameter);
        }
        CHttpClient client;
        PointAt(client, m_server);
        if (row.bTimeouts) {
            client.setConnectTimeout(11);
            client.setRequestTimeout(12);
        }
        transcript += Section(row.heading, CallsOf(client, *request, row.bSSL));
    }
    ExpectGolden(CLIENT_TEST_DATA "/asynchronous-calls.txt", transcript);
}

TEST_F(AsynSendRequest, ToAVerbThatCannotBeSentAddsNoHandle) {
    CurlRecorder recorder;
    EXPECT_EQ(Send(m_client, *MakeRequest(HTTPOPERATION_NOT_SET)).status, -1);
    for (const CurlEvent& event : recorder.Events(CurlCall::MultiAddHandle)) {
        EXPECT_EQ(event.other, nullptr);
    }
}

TEST_F(AsynSendRequest, GoesOutInTheseBytes) {
    const auto request = MakeRequest(HTTPOPERATION_GET, "/path");
    request->addParam("k", "v x");
    request->addRequestHeadEntry("B", "2");
    request->addRequestHeadEntry("A", "1");
    EXPECT_EQ(BytesOf(*request),
              "GET /path?k=v%20x HTTP/1.1\r\nHost: <server>\r\nAccept: */*\r\nA:1\r\nB:2\r\n\r\n");
}

TEST_F(AsynSendRequest, CarriesNoCookieAndAsksForNoDecoding) {
    const auto request = MakeRequest(HTTPOPERATION_GET, "/");
    request->setCustomCookieParam("a=1");
    request->setAcceptEncoding("gzip");
    // The header entry goes out as any other; libcurl was not told to decode.
    EXPECT_EQ(BytesOf(*request),
              "GET / HTTP/1.1\r\nHost: <server>\r\nAccept: */*\r\nAccept-Encoding:gzip\r\n\r\n");
}

TEST_F(AsynSendRequest, LeavesASynchronousOneOfTheSameClientAlone) {
    const auto request = MakeRequest(HTTPOPERATION_GET, "/asynchronous");
    request->setAcceptEncoding("gzip");
    LoopbackServer server([&](const RecordedRequest& received) {
        if (received.target == "/synchronous") {
            m_client.asynSendRequest(*request, &Outcomes::Callback, false);
            EXPECT_TRUE(Outcomes::WaitFor(1));
        }
        return Respond(200, {{"Content-Encoding", "gzip"}}, "not compressed");
    });
    PointAt(m_client, server);
    CHttpResponse response;
    EXPECT_EQ(m_client.synSendRequest(*MakeRequest(HTTPOPERATION_GET, "/synchronous"), response, false), 200);
    EXPECT_EQ(response.getResponseBody(), "not compressed") << "it asked for no decoding";
    EXPECT_EQ(Outcomes::All().at(0).body, "not compressed");
}

TEST_F(AsynSendRequest, DoesNotSendTheRequestsOwnBody) {
    const auto request = MakeRequest(HTTPOPERATION_POST, "/");
    request->setContent("own body");
    EXPECT_EQ(BytesOf(*request), "POST / HTTP/1.1\r\nHost: <server>\r\nAccept: */*\r\nContent-Length: 0\r\n"
                                 "Content-Type: application/x-www-form-urlencoded\r\n\r\n");
}

TEST_F(AsynSendRequest, SendsParametersAsBodyOfPostAndPut) {
    for (const auto verb : {HTTPOPERATION_POST, HTTPOPERATION_PUT}) {
        const auto request = MakeRequest(verb, "/");
        request->addParam("k", "v");
        request->setContent("own body");
        EXPECT_EQ(BytesOf(*request),
                  std::string(verb == HTTPOPERATION_POST ? "POST" : "PUT") +
                      " / HTTP/1.1\r\nHost: <server>\r\nAccept: */*\r\nContent-Length: 3\r\n"
                      "Content-Type: application/x-www-form-urlencoded\r\n\r\nk=v");
    }
}

TEST_F(AsynSendRequest, DeletesWithParametersInTheUrl) {
    const auto request = MakeRequest(HTTPOPERATION_DELETE, "/");
    request->addParam("k", "v");
    EXPECT_EQ(BytesOf(*request), "DELETE /?k=v HTTP/1.1\r\nHost: <server>\r\nAccept: */*\r\n\r\n");
}

TEST_F(AsynSendRequest, SendsAHeadAsAGetWhoseBodyArrives) {
    const Outcome outcome = Send(m_client, *MakeRequest(HTTPOPERATION_HEAD, "/"));
    EXPECT_EQ(m_server.requests().at(0).method, "GET");
    EXPECT_EQ(outcome.status, 200);
    EXPECT_EQ(outcome.body, "answer");
}

TEST_F(AsynSendRequest, KeepsALargeBodyAliveUntilItIsSent) {
    std::string value(9000000, 'v'); // more than libcurl would copy
    {
        const auto request = MakeRequest(HTTPOPERATION_POST, "/");
        request->setAcceptCharset("UTF-8");
        request->addParam("k", value);
        m_client.asynSendRequest(*request, &Outcomes::Callback, false);
    }
    ASSERT_TRUE(Outcomes::WaitFor(1));
    EXPECT_EQ(Outcomes::All().at(0).status, 200);
    EXPECT_EQ(m_server.requests().at(0).body, "k=" + value);
}

TEST_F(AsynSendRequest, AlwaysBorrowsATlsConnection) {
    Send(m_client, *MakeRequest(HTTPOPERATION_GET), false);
    EXPECT_EQ(PooledConnections(m_server, true), 1U);
    EXPECT_EQ(PooledConnections(m_server, false), 0U);
}

TEST_F(AsynSendRequest, ChecksItsRecordsFieldsInOrderAndCarriesOn) {
    auto* record = new AsyncOperationArgs;
    record->pfnCallback = &Outcomes::Callback;
    EXPECT_EQ(DoAsyncOperation(record), nullptr);
    EXPECT_EQ(OwnMessages(5), (Lines{"[5] HTTP DoAsyncOperation curl is nullptr.",
                                     "[5] HTTP DoAsyncOperation mcurl is nullptr.",
                                     "[5] HTTP DoAsyncOperation ptrSList is nullptr.",
                                     "[5] HTTP DoAsyncOperation ptrHttpConn is nullptr."}));
    ASSERT_EQ(Outcomes::All().size(), 1U);
    EXPECT_EQ(Outcomes::All().at(0).status, -1);
    EXPECT_TRUE(m_select.Calls().empty()); // the first perform failed
}

TEST_F(AsynSendRequest, WithoutARecordDoesNothing) {
    EXPECT_EQ(DoAsyncOperation(nullptr), nullptr);
    EXPECT_TRUE(Outcomes::All().empty());
}

TEST_F(AsynSendRequest, VerifiesWithTheBundleThatARecordNames) {
    CHttpConnection* conn =
        CHttpConnectionMgr::Instance()->GetConn(m_server.address(), m_server.port(), true);
    auto* record = new AsyncOperationArgs;
    record->bSSL = true;
    record->pszCaInfo = "bundle.pem";
    record->curl = conn->GetCurl();
    record->mcurl = conn->GetCurlM();
    record->ptrHttpConn = conn;
    record->pfnCallback = &Outcomes::Callback;
    const CurlRecorder recorder;
    DoAsyncOperation(record);
    const Lines lines = CurlTranscript().Of(recorder.Events());
    const Lines expected{"setopt SSL_VERIFYPEER=1", "setopt CAINFO=\"bundle.pem\"", "setopt NOSIGNAL=1"};
    EXPECT_NE(std::search(lines.begin(), lines.end(), expected.begin(), expected.end()), lines.end());
}

// A host's own way of starting threads may keep a copy of the record.
static_assert(std::is_copy_constructible_v<AsyncOperationArgs>);
