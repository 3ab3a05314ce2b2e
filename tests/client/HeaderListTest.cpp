// SPDX-License-Identifier: Apache-2.0
// A request's header entries as a header list, and on the wire.
#include <map>
#include <string>
#include <vector>

#include <curl/curl.h>

#include <httpclient/HttpClient.h>

#include "ClientFixture.h"
#include "client/HttpClientImp.h"
#include "interpose/CurlRecorder.h"
#include "support/CurlOwners.h"

using namespace httpclient::testing;

namespace {

using Lines = std::vector<std::string>;

constexpr int MANY = 10000;
const std::string EMPTY_COOKIE = "Cookie: "; // the send sets the cookie even when it is empty

Lines LinesOf(const curl_slist* list) {
    Lines lines;
    for (; list != nullptr; list = list->next) {
        lines.emplace_back(list->data);
    }
    return lines;
}

class HeaderList : public ClientTest {
protected:
    Lines Build() const { return LinesOf(CurlSlistPtr(m_client.AppendSlist(*m_request)).get()); }

    /// Sends the request. @return the header lines that the server saw.
    Lines Wire() {
        CHttpResponse response;
        EXPECT_EQ(m_sender.synSendRequest(*m_request, response, false), 200);
        const auto requests = m_server.requests();
        return requests.empty() ? Lines{} : requests.back().headerLines;
    }
    std::string HostLine() const { return "Host: " + m_server.authority(); }

    void SetUp() override { PointAt(m_sender, m_server); }

    const CHttpClientImp m_client;
    std::unique_ptr<CHttpRequest> m_request = MakeRequest(HTTPOPERATION_PUT);
    LoopbackServer m_server{AnswerAll("ok")};
    CHttpClient m_sender;
};

} // namespace

TEST_F(HeaderList, LinesAreWipedBeforeTheyAreFreed) {
    m_request->addRequestHeadEntry("Authorization", "Basic c2VjcmV0");
    m_request->addRequestHeadEntry("Empty", "");
    CurlRecorder recorder;
    recorder.Force(CurlCall::SlistFreeAll); // so that there is something to look at
    EXPECT_EQ(Build().size(), 2U);
    const auto freed = recorder.Events(CurlCall::SlistFreeAll);
    ASSERT_EQ(freed.size(), 1U);
    const CurlSlistPtr list(static_cast<curl_slist*>(const_cast<void*>(freed[0].handle)));
    EXPECT_EQ(LinesOf(list.get()), (Lines{"", ""}));
}

TEST_F(HeaderList, IsNullWithoutEntries) {
    EXPECT_EQ(m_client.AppendSlist(*m_request), nullptr);
    EXPECT_EQ(OwnMessages(0), Lines{});
}

TEST_F(HeaderList, IsInByteOrderOfTheNamesWithoutABlank) {
    for (const auto& [name, value] : std::vector<std::pair<std::string, std::string>>{
             {"B", "2"}, {"b", "4"}, {"A", "1"}, {"\xc3\x84", "6"}, {"a", "3"}, {"Z-9", " 5 "}}) {
        m_request->addRequestHeadEntry(name, value);
    }
    EXPECT_EQ(Build(), (Lines{"A:1", "B:2", "Z-9: 5 ", "a:3", "b:4", "\xc3\x84:6"}));
}

TEST_F(HeaderList, HoldsTheWellKnownEntriesUnderTheirNames) {
    m_request->setContentType("application/json");
    m_request->setAccept("text/plain");
    m_request->setAcceptEncoding("gzip");
    m_request->setForwardFilter("on");
    EXPECT_EQ(Build(), (Lines{"Accept-Encoding:gzip", "Accept_MIME:text/plain",
                              "Content-Type:application/json", "XX-Forward-Filter:on"}));
}

TEST_F(HeaderList, HoldsNoCookie) {
    m_request->setCustomCookieParam("a=1");
    EXPECT_EQ(m_client.AppendSlist(*m_request), nullptr);
}

TEST_F(HeaderList, HoldsAnEntryWithoutAValue) {
    m_request->addRequestHeadEntry("name", "");
    EXPECT_EQ(Build(), Lines{"name:"});
}

TEST_F(HeaderList, HoldsTheCallersAccessTokenWhileServiceIdentityIsOff) {
    m_request->addRequestHeadEntry("x-access-token", "old");
    EXPECT_EQ(Build(), Lines{"x-access-token:old"});
    EXPECT_EQ(OwnMessages(0), Lines{});
}

TEST_F(HeaderList, LeavesTheRequestAsItWas) {
    m_request->addRequestHeadEntry("A", "1");
    Build();
    EXPECT_EQ(m_request->getRequestHead(), (std::map<std::string, std::string>{{"A", "1"}}));
}

TEST_F(HeaderList, HoldsTenThousandEntriesInOrder) {
    Lines expected;
    for (int i = 0; i < MANY; ++i) {
        const std::string name = "H" + std::to_string(100000 + i);
        m_request->addRequestHeadEntry(name, std::to_string(i));
        expected.push_back(name + ":" + std::to_string(i));
    }
    EXPECT_EQ(Build(), expected);
    Lines wire = Wire();
    ASSERT_EQ(wire.size(), expected.size() + 5);
    EXPECT_EQ(Lines(wire.begin() + 3, wire.begin() + 3 + MANY), expected);
}

TEST_F(HeaderList, GoesOutAsItIs) {
    m_request->addRequestHeadEntry("B", " 2 ");
    m_request->addRequestHeadEntry("A", "1");
    EXPECT_EQ(Wire(), (Lines{HostLine(), "Accept: */*", EMPTY_COOKIE, "A:1", "B: 2 ", "Content-Length: 0",
                             "Content-Type: application/x-www-form-urlencoded"}));
}

TEST_F(HeaderList, ReplacesLibcurlsOwnLines) {
    m_request->setContentType("application/json");
    m_request->addRequestHeadEntry("Accept", "text/plain");
    m_request->addRequestHeadEntry("Host", "elsewhere");
    EXPECT_EQ(Wire(), (Lines{"Host:elsewhere", EMPTY_COOKIE, "Accept:text/plain",
                             "Content-Type:application/json", "Content-Length: 0"}));
}

TEST_F(HeaderList, LosesEntriesWithoutAValueInsideLibcurl) {
    // libcurl takes "name:" as the wish to leave that line out, its own lines included.
    m_request->addRequestHeadEntry("name", "");
    m_request->addRequestHeadEntry("other", " ");
    m_request->addRequestHeadEntry("Accept", "");
    EXPECT_EQ(Wire(), (Lines{HostLine(), EMPTY_COOKIE, "Content-Length: 0",
                             "Content-Type: application/x-www-form-urlencoded"}));
}

TEST_F(HeaderList, CarriesLineBreaksOfAValueOntoTheWire) {
    // Neither the request nor libcurl refuses them: whoever fills header values from outside checks them.
    m_request->addRequestHeadEntry("A", "1\r\nInjected: yes");
    EXPECT_EQ(Build(), Lines{"A:1\r\nInjected: yes"});
    EXPECT_EQ(Wire(), (Lines{HostLine(), "Accept: */*", EMPTY_COOKIE, "A:1", "Injected: yes",
                             "Content-Length: 0", "Content-Type: application/x-www-form-urlencoded"}));
}

TEST_F(HeaderList, EndsALineAtItsFirstNul) {
    m_request->addRequestHeadEntry("A", std::string("1\0002", 3));
    EXPECT_EQ(Build(), Lines{"A:1"});
}

TEST_F(HeaderList, OfNoEntriesClearsThatOfTheSendBefore) {
    m_request->addRequestHeadEntry("A", "1");
    Wire();
    m_request->removeRequestHead();
    EXPECT_EQ(Wire(), (Lines{HostLine(), "Accept: */*", EMPTY_COOKIE, "Content-Length: 0",
                             "Content-Type: application/x-www-form-urlencoded"}));
    EXPECT_EQ(m_server.connectionsAccepted(), 1U);
}

TEST_F(HeaderList, KeepsTheOthersWhenALineCannotBeAppended) {
    for (const char* name : {"A", "B", "C"}) {
        m_request->addRequestHeadEntry(name, "1");
    }
    const Lines all{"A:1", "B:1", "C:1"};
    for (std::size_t failing = 1; failing <= all.size(); ++failing) {
        CurlRecorder recorder;
        recorder.Force(CurlCall::SlistAppend, 0, failing);
        Lines expected = all;
        expected.erase(expected.begin() + static_cast<std::ptrdiff_t>(failing) - 1);
        EXPECT_EQ(Build(), expected);
        EXPECT_EQ(recorder.Events(CurlCall::SlistAppend).size(), all.size());
        EXPECT_EQ(recorder.Events(CurlCall::SlistFreeAll).size(), 1U); // this test's own
    }
    EXPECT_EQ(OwnMessages(0), Lines{});
}

TEST_F(HeaderList, IsNullWhenNoLineCanBeAppended) {
    m_request->addRequestHeadEntry("A", "1");
    m_request->addRequestHeadEntry("B", "2");
    CurlRecorder recorder;
    recorder.Force(CurlCall::SlistAppend, 0, 1);
    recorder.Force(CurlCall::SlistAppend, 0, 2);
    EXPECT_EQ(m_client.AppendSlist(*m_request), nullptr);
    EXPECT_TRUE(recorder.Events(CurlCall::SlistFreeAll).empty());
}

TEST_F(HeaderList, GoesOutWithoutALineThatCouldNotBeAppended) {
    m_request->addRequestHeadEntry("A", "1");
    m_request->addRequestHeadEntry("B", "2");
    CurlRecorder recorder;
    recorder.Force(CurlCall::SlistAppend, 0, 2);
    EXPECT_EQ(Wire(), (Lines{HostLine(), "Accept: */*", EMPTY_COOKIE, "A:1", "Content-Length: 0",
                             "Content-Type: application/x-www-form-urlencoded"}));
    EXPECT_EQ(recorder.Events(CurlCall::SlistFreeAll).size(), 1U);
}
