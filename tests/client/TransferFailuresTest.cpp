// SPDX-License-Identifier: Apache-2.0
// What each of the ten transfers says when it fails.
#include <ostream>
#include <string>
#include <vector>

#include <curl/curl.h>

#include <httpclient/testing/RecordingTrace.h>

#include "ClientFixture.h"
#include "client/HttpClientImp.h"
#include "interpose/Allocations.h"
#include "interpose/CurlRecorder.h"
#include "support/CurlOwners.h"

using namespace httpclient::testing;

namespace {

using Messages = std::vector<std::string>;

const std::string CONTENT = "content";

/// One of the ten transfers under its name.
struct NamedTransfer {
    const char* name;
    int (*run)(CHttpClientImp& client, const std::string& url, std::string& response);
};

const NamedTransfer TRANSFERS[] = {
    {"Post", [](CHttpClientImp& client, const std::string& url,
                std::string& response) { return client.Post(url, CONTENT, response, nullptr); }},
    {"Posts", [](CHttpClientImp& client, const std::string& url,
                 std::string& response) { return client.Posts(url, CONTENT, response, nullptr); }},
    {"HttpGet", [](CHttpClientImp& client, const std::string& url,
                   std::string& response) { return client.HttpGet(url, response, nullptr); }},
    {"HttpGets", [](CHttpClientImp& client, const std::string& url,
                    std::string& response) { return client.HttpGets(url, response, nullptr); }},
    {"Delete", [](CHttpClientImp& client, const std::string& url,
                  std::string& response) { return client.Delete(url, response, nullptr); }},
    {"Deletes", [](CHttpClientImp& client, const std::string& url,
                   std::string& response) { return client.Deletes(url, response, nullptr); }},
    {"Put", [](CHttpClientImp& client, const std::string& url,
               std::string& response) { return client.Put(url, CONTENT, response, nullptr); }},
    {"Puts", [](CHttpClientImp& client, const std::string& url,
                std::string& response) { return client.Puts(url, CONTENT, response, nullptr); }},
    {"Head", [](CHttpClientImp& client, const std::string& url,
                std::string& response) { return client.Head(url, response, nullptr); }},
    {"Heads", [](CHttpClientImp& client, const std::string& url,
                 std::string& response) { return client.Heads(url, response, nullptr); }},
};

/// What a transfer logs when libcurl fails with this result, no response having come.
Messages PerformMessages(const std::string& name, int result) {
    if (name == "Post") {
        return {"[5] HTTP asynSendRequest failed,the response code is : 0"};
    }
    if (name == "Head" || name == "Heads") {
        return {};
    }
    return {"[5] HTTP synSendRequest::" + name +
            " curl_easy_perform call failed, error no is:" + std::to_string(result)};
}

/// A client with a handle of its own, as if a send had borrowed it.
class TransferFailure : public ClientTest {
protected:
    TransferFailure() { m_client.m_curl = m_handle.get(); }
    ~TransferFailure() override { m_client.m_curl = nullptr; }

    CurlEasyPtr m_handle{curl_easy_init()};
    CHttpClientImp m_client;
    std::string m_response;
};

class EachTransferFailure : public TransferFailure, public ::testing::WithParamInterface<NamedTransfer> {
protected:
    int Run(const std::string& url) { return GetParam().run(m_client, url, m_response); }
};

void PrintTo(const NamedTransfer& transfer, std::ostream* out) {
    *out << transfer.name;
}

std::string TransferName(const ::testing::TestParamInfo<NamedTransfer>& row) {
    return row.param.name;
}

} // namespace

TEST_P(EachTransferFailure, WithoutAHandleIsLoggedAndCallsNothing) {
    m_client.m_curl = nullptr;
    const CurlRecorder recorder;
    EXPECT_EQ(Run("http://127.0.0.1/"), -1);
    EXPECT_TRUE(recorder.Events().empty());
    EXPECT_EQ(OwnMessages(0),
              Messages{std::string("[5] HTTP synSendRequest::") + GetParam().name + " m_curl is nullptr."});
}

TEST_P(EachTransferFailure, OfARefusedConnectionIsLoggedWithLibcurlsResult) {
    EXPECT_EQ(Run("http://127.0.0.1:" + std::to_string(RefusingPort()) + "/"), -1);
    EXPECT_EQ(OwnMessages(0), PerformMessages(GetParam().name, CURLE_COULDNT_CONNECT));
    EXPECT_EQ(m_response, "");
}

TEST_P(EachTransferFailure, OfAnUnparseableUrlIsLoggedWithLibcurlsResult) {
    EXPECT_EQ(Run("http://127.0.0.1:port/"), -1);
    EXPECT_EQ(OwnMessages(0), PerformMessages(GetParam().name, CURLE_URL_MALFORMAT));
}

TEST_P(EachTransferFailure, LeavesAHandleThatStillWorks) {
    EXPECT_EQ(Run("http://127.0.0.1:" + std::to_string(RefusingPort()) + "/"), -1);
    const LoopbackServer server(AnswerAll("answer"));
    EXPECT_EQ(Run(server.url()), 200);
}

TEST_P(EachTransferFailure, OfAnOptionEndsNothing) {
    const LoopbackServer server(AnswerAll("answer"));
    CurlRecorder recorder;
    for (const CURLoption option :
         {CURLOPT_CUSTOMREQUEST, CURLOPT_POSTFIELDS, CURLOPT_READFUNCTION, CURLOPT_HEADER, CURLOPT_TIMEOUT}) {
        recorder.ForceOption(option, CURLE_OUT_OF_MEMORY);
        EXPECT_EQ(Run(server.url()), 200) << option;
        recorder.ForceOption(option, CURLE_OK);
    }
    if (std::string(GetParam().name) != "Post") {
        EXPECT_EQ(OwnMessages(0), Messages{});
    }
}

TEST_P(EachTransferFailure, OfReadingTheStatusIsAFailure) {
    const LoopbackServer server(AnswerAll("answer"));
    CurlRecorder recorder;
    recorder.Force(CurlCall::EasyGetinfo, CURLE_UNKNOWN_OPTION);
    EXPECT_EQ(Run(server.url()), -1);
    EXPECT_EQ(OwnMessages(0), Messages{});
}

INSTANTIATE_TEST_SUITE_P(Of, EachTransferFailure, ::testing::ValuesIn(TRANSFERS), TransferName);

TEST_F(TransferFailure, OfPostsOptionsIsLoggedAndThePostCarriesOn) {
    const LoopbackServer server(AnswerAll("answer"));
    CurlRecorder recorder;
    recorder.ForceOption(CURLOPT_CUSTOMREQUEST, CURLE_OUT_OF_MEMORY);
    recorder.ForceOption(CURLOPT_POSTFIELDS, CURLE_BAD_FUNCTION_ARGUMENT);
    EXPECT_EQ(m_client.Post(server.url(), CONTENT, m_response, nullptr), 200);
    EXPECT_EQ(OwnMessages(0),
              (Messages{"[5] HTTP Post failed,curl_easy_setopt CURLOPT_CUSTOMREQUEST retcode is : 27",
                        "[5] HTTP Post failed,curl_easy_setopt CURLOPT_POSTFIELDS retcode is : 43"}));
}

TEST_F(TransferFailure, OfPostsCommonOptionsIsNotLogged) {
    const LoopbackServer server(AnswerAll("answer"));
    CurlRecorder recorder;
    recorder.ForceOption(CURLOPT_TIMEOUT, CURLE_OUT_OF_MEMORY);
    EXPECT_EQ(m_client.Post(server.url(), CONTENT, m_response, nullptr), 200);
    EXPECT_EQ(OwnMessages(0), Messages{});
}

TEST_F(TransferFailure, OfAPostIsLoggedWithTheResponseCode) {
    const LoopbackServer server([](const RecordedRequest& /*request*/) {
        return Raw("HTTP/1.1 202 Accepted\r\nContent-Length: 10\r\n\r\nhalf", After::Close);
    });
    CurlRecorder recorder;
    EXPECT_EQ(m_client.Post(server.url(), CONTENT, m_response, nullptr), -1);
    EXPECT_EQ(OwnMessages(0), Messages{"[5] HTTP asynSendRequest failed,the response code is : 202"});
    ASSERT_EQ(recorder.Events(CurlCall::EasyGetinfo).size(), 1U);
    EXPECT_EQ(recorder.Events(CurlCall::EasyGetinfo)[0].info, CURLINFO_RESPONSE_CODE);
}

TEST_F(TransferFailure, KeepsWhatHadArrived) {
    const LoopbackServer server([](const RecordedRequest& /*request*/) {
        return Raw("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nhalf", After::Close);
    });
    EXPECT_EQ(m_client.HttpGet(server.url(), m_response, nullptr), -1);
    EXPECT_EQ(m_response, "half");
}

TEST_F(TransferFailure, ReadsNoStatusUnlessItIsAPost) {
    CurlRecorder recorder;
    const std::string url = "http://127.0.0.1:" + std::to_string(RefusingPort()) + "/";
    EXPECT_EQ(m_client.HttpGet(url, m_response, nullptr), -1);
    EXPECT_EQ(m_client.Put(url, CONTENT, m_response, nullptr), -1);
    EXPECT_EQ(m_client.Head(url, m_response, nullptr), -1);
    EXPECT_TRUE(recorder.Events(CurlCall::EasyGetinfo).empty());
}

TEST_F(TransferFailure, OfAPostWithoutAHandleComesAfterItsCopyOfTheContent) {
    TraceRecorder::Instance().SetLowestLevel(6);
    m_client.m_curl = nullptr;
    const std::string url;
    const std::string content(1000, 'x');
    m_client.Posts(url, content, m_response, nullptr); // makes what the log makes once in a process
    const CountedNew counted;
    m_client.Posts(url, content, m_response, nullptr);
    EXPECT_EQ(counted.Count(), 0U);
    m_client.Post(url, content, m_response, nullptr);
    EXPECT_EQ(counted.Count(), 1U);
}
