// SPDX-License-Identifier: Apache-2.0
// What an asynchronous send puts on the wire, and what it asks of libcurl, in order.
#include <algorithm>
#include <string>
#include <type_traits>
#include <vector>

#include <httpclient/HttpConnectionMgr.h>

#include "AsynFixture.h"
#include "CurlTranscript.h"
#include "client/AsyncOperation.h"
#include "interpose/CurlRecorder.h"
#include "pool/HttpConnection.h"

using namespace httpclient::testing;

namespace {

using Lines = std::vector<std::string>;

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
    Lines CallsOf(const CHttpRequest& request, bool bSSL) {
        NextConnection(m_server, true); // so that making it is no part of the list
        const CurlRecorder recorder;
        Send(m_client, request, bSSL);
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

    /// The calls of a whole send: those of its preparation, then the worker's.
    static Lines Calls(Lines prepared, const Lines& tls = {}, const Lines& freed = {"slist_free_all"}) {
        const Lines before{"setopt HEADERDATA=a pointer", "setopt HEADERFUNCTION=OnCurlWrite",
                           "setopt WRITEFUNCTION=OnCurlWrite", "setopt WRITEDATA=a pointer"};
        const Lines after{"setopt NOSIGNAL=1",    "multi_add_handle",
                          "multi_perform",        "multi_timeout",
                          "multi_fdset",          "multi_perform",
                          "multi_remove_handle",  "getinfo RESPONSE_CODE",
                          "getinfo CONTENT_TYPE", "getinfo CONTENT_LENGTH_DOWNLOAD"};
        for (const Lines& part : {before, tls, after, freed}) {
            prepared.insert(prepared.end(), part.begin(), part.end());
        }
        return prepared;
    }

    LoopbackServer m_server{AnswerAll("answer")};
    CHttpClientImp m_client;
};

} // namespace

TEST_F(AsynSendRequest, OfAGetIsResetUrlHeadersTimeoutsAndNothingElse) {
    const auto request = MakeRequest(HTTPOPERATION_GET, "/path");
    request->addRequestHeadEntry("A", "1");
    m_client.setConnectTimeout(11);
    m_client.setRequestTimeout(12);
    EXPECT_EQ(CallsOf(*request, false),
              Calls({"easy_reset", "setopt URL=\"http://<server>/path\"", "slist_append \"A:1\"",
                     "setopt HTTPHEADER=a pointer", "setopt CONNECTTIMEOUT=11", "setopt TIMEOUT=12"}));
}

TEST_F(AsynSendRequest, OfABareGetSetsNoHeaderListAndFreesNone) {
    EXPECT_EQ(CallsOf(*MakeRequest(HTTPOPERATION_GET, "/path"), false),
              Calls({"easy_reset", "setopt URL=\"http://<server>/path\"", "setopt CONNECTTIMEOUT=10",
                     "setopt TIMEOUT=30"},
                    {}, {}));
}

TEST_F(AsynSendRequest, OfAPutSetsItsMethodThenItsParametersAsBody) {
    const auto request = MakeRequest(HTTPOPERATION_PUT, "/path");
    request->addParam("k", "v");
    EXPECT_EQ(CallsOf(*request, false),
              Calls({"easy_reset", "setopt URL=\"http://<server>/path\"", "setopt CONNECTTIMEOUT=10",
                     "setopt TIMEOUT=30", "setopt CUSTOMREQUEST=\"PUT\"", "setopt POSTFIELDS=\"k=v\""},
                    {}, {}));
}

TEST_F(AsynSendRequest, OfAPostSetsPostThenItsParametersAsBody) {
    const auto request = MakeRequest(HTTPOPERATION_POST, "/path");
    request->addParam("k", "v");
    EXPECT_EQ(CallsOf(*request, false),
              Calls({"easy_reset", "setopt URL=\"http://<server>/path\"", "setopt CONNECTTIMEOUT=10",
                     "setopt TIMEOUT=30", "setopt POST=1", "setopt POSTFIELDS=\"k=v\""},
                    {}, {}));
}

TEST_F(AsynSendRequest, OfADeleteSetsItsMethodAlone) {
    EXPECT_EQ(CallsOf(*MakeRequest(HTTPOPERATION_DELETE, "/path"), false),
              Calls({"easy_reset", "setopt URL=\"http://<server>/path\"", "setopt CONNECTTIMEOUT=10",
                     "setopt TIMEOUT=30", "setopt CUSTOMREQUEST=\"DELETE\""},
                    {}, {}));
}

TEST_F(AsynSendRequest, OfATlsSendSwitchesVerificationOff) {
    // The server speaks plain HTTP, and the scheme says so; only the options matter here.
    EXPECT_EQ(CallsOf(*MakeRequest(HTTPOPERATION_GET, "/path"), true),
              Calls({"easy_reset", "setopt URL=\"http://<server>/path\"", "setopt CONNECTTIMEOUT=10",
                     "setopt TIMEOUT=30"},
                    {"setopt SSL_VERIFYPEER=0", "setopt SSL_VERIFYHOST=0"}, {}));
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

TEST_F(AsynSendRequest, LeavesTheRequestsOwnBodyBehind) {
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
