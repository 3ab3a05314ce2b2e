// SPDX-License-Identifier: Apache-2.0
// What each of the ten transfers sets on its handle, in which order, and what it makes of the answer.
#include <functional>
#include <string>
#include <vector>

#include <curl/curl.h>

#include "ClientFixture.h"
#include "CurlTranscript.h"
#include "Verbs.h"
#include "client/HttpClientImp.h"
#include "interpose/CurlRecorder.h"
#include "support/CurlOwners.h"

using namespace httpclient::testing;

namespace {

using Lines = std::vector<std::string>;

/// What SetCurlParam sets.
const Lines& CommonOptions() {
    static const Lines lines{"setopt URL=\"http://<server>/path\"",
                             "setopt WRITEFUNCTION=OnCurlWrite",
                             "setopt WRITEDATA=response",
                             "setopt HTTPHEADER=list",
                             "setopt NOSIGNAL=1",
                             "setopt CONNECTTIMEOUT=10",
                             "setopt TIMEOUT=30"};
    return lines;
}

/// The lines with "common" replaced by what it stands for.
Lines Expanded(const Lines& lines) {
    Lines all;
    for (const std::string& line : lines) {
        if (line == "common") {
            all.insert(all.end(), CommonOptions().begin(), CommonOptions().end());
        } else {
            all.push_back(line);
        }
    }
    return all;
}

/// A client with a handle of its own, as if a send had borrowed it, and a server.
class Transfer : public ClientTest {
protected:
    Transfer() {
        m_client.m_curl = m_handle.get();
        m_transcript.Name(&m_response, "response").Name(m_list.get(), "list");
        m_transcript.Replace(m_server.authority(), "<server>");
    }
    ~Transfer() override { m_client.m_curl = nullptr; }

    std::string Url() const { return m_server.url("/path"); }
    curl_slist* List() const { return m_list.get(); }

    LoopbackServer m_server{AnswerAll("answer")};
    CurlEasyPtr m_handle{curl_easy_init()};
    CurlSlistPtr m_list{curl_slist_append(nullptr, "A:1")};
    CHttpClientImp m_client;
    const std::string m_content = "content";
    std::string m_response;
    CurlTranscript m_transcript;
};

/// One of the ten transfers.
struct TransferRow {
    const char* name;
    std::function<int(CHttpClientImp&, const std::string& url, const std::string& content,
                      std::string& response, curl_slist* list)>
        run;
    Lines options; ///< What it sets, in order; "common" stands for the common options.
};

template <auto Transfer>
int WithBody(CHttpClientImp& client, const std::string& url, const std::string& content,
             std::string& response, curl_slist* list) {
    return (client.*Transfer)(url, content, response, list);
}

template <auto Transfer>
int WithoutBody(CHttpClientImp& client, const std::string& url, const std::string& /*content*/,
                std::string& response, curl_slist* list) {
    return (client.*Transfer)(url, response, list);
}

using C = CHttpClientImp;

const std::string NO_BODY = "setopt POSTFIELDS=\"\"";
const std::string BODY = "setopt POSTFIELDS=\"content\"";

const TransferRow TRANSFER_ROWS[] = {
    {"Post", WithBody<&C::Post>, {"common", "setopt CUSTOMREQUEST=\"POST\"", BODY}},
    {"Posts", WithBody<&C::Posts>, {"common", "setopt CUSTOMREQUEST=\"POST\"", BODY}},
    {"HttpGet",
     WithoutBody<&C::HttpGet>,
     {"common", NO_BODY, "setopt CUSTOMREQUEST=\"GET\"", "setopt READFUNCTION=null"}},
    {"HttpGets", WithoutBody<&C::HttpGets>, {NO_BODY, "setopt CUSTOMREQUEST=\"GET\"", "common"}},
    {"Delete", WithoutBody<&C::Delete>, {"common", NO_BODY, "setopt CUSTOMREQUEST=\"DELETE\""}},
    {"Deletes", WithoutBody<&C::Deletes>, {NO_BODY, "common", "setopt CUSTOMREQUEST=\"DELETE\""}},
    {"Put", WithBody<&C::Put>, {"common", "setopt CUSTOMREQUEST=\"PUT\"", BODY}},
    {"Puts", WithBody<&C::Puts>, {"common", "setopt CUSTOMREQUEST=\"PUT\"", BODY}},
    {"Head", WithoutBody<&C::Head>, {"common", "setopt HEADER=1", "setopt NOBODY=1"}},
    {"Heads", WithoutBody<&C::Heads>, {NO_BODY, "common", "setopt HEADER=1", "setopt NOBODY=1"}},
};

class EachTransfer : public Transfer, public ::testing::WithParamInterface<TransferRow> {};

} // namespace

// Everything that it asks of libcurl, up to its return.
TEST_P(EachTransfer, SetsItsOptionsInOrderPerformsAndReadsTheStatus) {
    const CurlRecorder recorder;
    EXPECT_EQ(GetParam().run(m_client, Url(), m_content, m_response, List()), 200);
    Lines all = Expanded(GetParam().options);
    all.insert(all.end(), {"perform", "getinfo RESPONSE_CODE"});
    EXPECT_EQ(m_transcript.Of(recorder.Events()), all);
    for (const CurlEvent& event : recorder.Events()) {
        EXPECT_EQ(event.handle, m_handle.get());
        EXPECT_EQ(event.result, CURLE_OK);
    }
    EXPECT_EQ(OwnMessages(0), Lines{});
}

INSTANTIATE_TEST_SUITE_P(Transfers, EachTransfer, ::testing::ValuesIn(TRANSFER_ROWS),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_F(Transfer, SetsTheCommonOptionsInOrder) {
    CurlRecorder recorder;
    EXPECT_EQ(m_client.SetCurlParam(Url(), m_response, List()), CURLE_OK);
    EXPECT_EQ(m_transcript.Of(recorder.Events()), CommonOptions());
}

TEST_F(Transfer, ClearsTheListOfAnEarlierTransferWithANullOne) {
    CurlRecorder recorder;
    EXPECT_EQ(m_client.SetCurlParam(Url(), m_response, nullptr), CURLE_OK);
    const auto set = recorder.Last(CURLOPT_HTTPHEADER);
    ASSERT_TRUE(set.has_value());
    EXPECT_EQ(set->pointer, nullptr);
}

TEST_F(Transfer, AnswersTheResultOfTheLastCommonOptionAlone) {
    for (const CURLoption tested : {CURLOPT_URL, CURLOPT_WRITEFUNCTION, CURLOPT_WRITEDATA, CURLOPT_HTTPHEADER,
                                    CURLOPT_NOSIGNAL, CURLOPT_CONNECTTIMEOUT}) {
        CurlRecorder recorder;
        recorder.ForceOption(tested, CURLE_OUT_OF_MEMORY);
        EXPECT_EQ(m_client.SetCurlParam(Url(), m_response, List()), CURLE_OK);
        EXPECT_EQ(recorder.Events().size(), CommonOptions().size()); // the others are set all the same
    }
    CurlRecorder recorder;
    recorder.ForceOption(CURLOPT_TIMEOUT, CURLE_BAD_FUNCTION_ARGUMENT);
    EXPECT_EQ(m_client.SetCurlParam(Url(), m_response, List()), CURLE_BAD_FUNCTION_ARGUMENT);
}

TEST_F(Transfer, TakesItsTimeoutsFromTheClient) {
    m_client.setConnectTimeout(3);
    m_client.setRequestTimeout(4);
    CurlRecorder recorder;
    m_client.SetCurlParam(Url(), m_response, List());
    EXPECT_EQ(recorder.Last(CURLOPT_CONNECTTIMEOUT)->number, 3);
    EXPECT_EQ(recorder.Last(CURLOPT_TIMEOUT)->number, 4);
}

TEST_F(Transfer, PostSendsACopyOfTheContentAndTheOthersTheCallersOwn) {
    CurlRecorder recorder;
    m_client.Post(Url(), m_content, m_response, List());
    EXPECT_NE(recorder.Last(CURLOPT_POSTFIELDS)->pointer, m_content.c_str());
    m_client.Posts(Url(), m_content, m_response, List());
    EXPECT_EQ(recorder.Last(CURLOPT_POSTFIELDS)->pointer, m_content.c_str());
    m_client.Put(Url(), m_content, m_response, List());
    EXPECT_EQ(recorder.Last(CURLOPT_POSTFIELDS)->pointer, m_content.c_str());
    m_client.Puts(Url(), m_content, m_response, List());
    EXPECT_EQ(recorder.Last(CURLOPT_POSTFIELDS)->pointer, m_content.c_str());
}

TEST_F(Transfer, DispatchersChooseTheVariant) {
    // The order of the options tells GET, DELETE and HEAD apart; POST's and PUT's are told by their messages.
    const auto first = [this](const std::function<int()>& transfer) {
        const CurlRecorder recorder;
        EXPECT_EQ(transfer(), 200);
        return m_transcript.Of(recorder.Events()).front();
    };
    const std::string common = CommonOptions().front();
    const std::string body = "setopt POSTFIELDS=\"\"";
    EXPECT_EQ(first([this] { return m_client.SendGetRequest(Url(), m_response, List(), false); }), common);
    EXPECT_EQ(first([this] { return m_client.SendGetRequest(Url(), m_response, List(), true); }), body);
    EXPECT_EQ(first([this] { return m_client.SendDeleteRequest(Url(), m_response, List(), false); }), common);
    EXPECT_EQ(first([this] { return m_client.SendDeleteRequest(Url(), m_response, List(), true); }), body);
    EXPECT_EQ(first([this] { return m_client.SendHeadRequest(Url(), m_response, List(), false); }), common);
    EXPECT_EQ(first([this] { return m_client.SendHeadRequest(Url(), m_response, List(), true); }), body);

    m_client.m_curl = nullptr;
    m_client.SendPutRequest(Url(), m_content, m_response, List(), false);
    m_client.SendPutRequest(Url(), m_content, m_response, List(), true);
    m_client.SendPostRequest(Url(), m_content, m_response, List(), false);
    m_client.SendPostRequest(Url(), m_content, m_response, List(), true);
    EXPECT_EQ(OwnMessages(0), (Lines{"[5] HTTP synSendRequest::Put m_curl is nullptr.",
                                     "[5] HTTP synSendRequest::Puts m_curl is nullptr.",
                                     "[5] HTTP synSendRequest::Post m_curl is nullptr.",
                                     "[5] HTTP synSendRequest::Posts m_curl is nullptr."}));
}

TEST_F(Transfer, AppendsTheBodyToTheResponse) {
    m_response = "old ";
    EXPECT_EQ(m_client.HttpGet(Url(), m_response, List()), 200);
    EXPECT_EQ(m_response, "old answer");
}

TEST_F(Transfer, OfAHeadReceivesNoBodyButHasTheHeadInItsPlace) {
    // CURLOPT_HEADER puts the head where the body goes; not one byte of a body follows it.
    EXPECT_EQ(m_client.Head(Url(), m_response, nullptr), 200);
    EXPECT_EQ(m_response, "HTTP/1.1 200 OK\r\nContent-Length: 6\r\n\r\n");
    m_response.clear();
    EXPECT_EQ(m_client.Heads(Url(), m_response, nullptr), 200);
    EXPECT_EQ(m_response, "HTTP/1.1 200 OK\r\nContent-Length: 6\r\n\r\n");
}

TEST_F(Transfer, NeverResetsTheHandle) {
    CurlRecorder recorder;
    m_client.Head(Url(), m_response, List());
    m_client.HttpGet(Url(), m_response, List());
    m_client.Post(Url(), m_content, m_response, List());
    EXPECT_TRUE(recorder.Events(CurlCall::EasyReset).empty());
}

TEST_F(Transfer, OfAHeadKeepsTheMethodTextOfAnEarlierPost) {
    ASSERT_EQ(m_client.Post(Url(), m_content, m_response, nullptr), 200);
    m_client.Head(Url(), m_response, nullptr);
    const auto requests = m_server.requests();
    ASSERT_EQ(requests.size(), 2U);
    EXPECT_EQ(requests[1].method, "POST");
    EXPECT_EQ(requests[1].body, "");
}

TEST_F(Transfer, IsThatOfTheVerbWithTheHeadersOfTheRequest) {
    for (const Verb& verb : VERBS) {
        curl_easy_reset(m_client.m_curl);
        const auto request = MakeRequest(HTTPOPERATION_NOT_SET); // the verb that is said counts
        request->addRequestHeadEntry("A", verb.name);
        EXPECT_EQ(m_client.SendRequest(*request, verb.type, Url(), "content", m_response, false), 200);
        const RecordedRequest sent = m_server.requests().back();
        EXPECT_EQ(sent.method, verb.name);
        EXPECT_EQ(sent.target, "/path");
        EXPECT_EQ(sent.Header("A"), verb.name);
        const bool hasBody = verb.type == HTTPOPERATION_PUT || verb.type == HTTPOPERATION_POST;
        EXPECT_EQ(sent.body, hasBody ? "content" : "") << verb.name;
    }
    EXPECT_EQ(m_client.SendRequest(*MakeRequest(HTTPOPERATION_GET), HTTPOPERATION_NOT_SET, Url(), "",
                                   m_response, false),
              -1);
    EXPECT_EQ(m_server.requests().size(), VERBS.size());
}
