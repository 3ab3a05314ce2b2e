// SPDX-License-Identifier: Apache-2.0
#include "send/InFlight.h"

#include <gtest/gtest.h>

#include <httpclient/HttpClientWrap.h>
#include <httpclient/HttpRequestWrap.h>

#include "demo/DemoServer.h"

using namespace std::chrono_literals;
using sender::InFlight;
using sender::Outcome;

namespace {

class Requests : public testing::Test {
protected:
    void Send(InFlight& requests, const std::string& path) const {
        const auto client = HttpClientWrap::MakeClientPtr("127.0.0.1", 5, 5, m_server.Port(), false);
        const auto request = HttpRequestWrap::MakeRequestPtr(path, "", HTTPOPERATION_GET);
        request->addRequestHeadEntry("Connection", "close");
        requests.Send(*client, *request, false);
    }

    /// Waits for so many outcomes.
    static std::vector<Outcome> Wait(InFlight& requests, size_t count) {
        std::vector<Outcome> all;
        while (all.size() < count) {
            for (Outcome& outcome : requests.WaitForOutcomes(10s)) {
                all.push_back(std::move(outcome));
            }
        }
        return all;
    }

private:
    demo::DemoServer m_server;
};

} // namespace

TEST_F(Requests, TakeAPlaceUntilTheirAnswerComes) {
    InFlight requests(2, 1h);
    EXPECT_TRUE(requests.HasPlace());
    Send(requests, "/slow/100");
    EXPECT_TRUE(requests.HasPlace());
    Send(requests, "/slow/100");
    EXPECT_FALSE(requests.HasPlace());
    EXPECT_EQ(requests.UnderWay(), 2U);

    const auto outcomes = Wait(requests, 2);
    EXPECT_TRUE(requests.HasPlace());
    EXPECT_EQ(requests.UnderWay(), 0U);
    for (const Outcome& outcome : outcomes) {
        EXPECT_EQ(outcome.status, 200);
        EXPECT_EQ(outcome.body, "Sorry to have kept you waiting for 100 ms.\n");
        EXPECT_GE(outcome.time, 100ms);
    }
}

TEST_F(Requests, AreGivenUpWhenPatienceEndsAndLeaveTheirPlaceUnused) {
    InFlight requests(2, 0s);
    Send(requests, "/bytes/1");
    const auto outcomes = requests.WaitForOutcomes(1ms);
    ASSERT_EQ(outcomes.size(), 1U);
    EXPECT_EQ(outcomes[0].status, Outcome::NO_ANSWER);
    EXPECT_TRUE(requests.HasPlace()); // the other one
    Send(requests, "/bytes/1");
    EXPECT_FALSE(requests.HasPlace());
    EXPECT_EQ(requests.WaitForOutcomes(1ms).size(), 1U);
    EXPECT_FALSE(requests.HasPlace());
    EXPECT_EQ(requests.UnderWay(), 0U);
    EXPECT_TRUE(requests.WaitForOutcomes(1s).empty()) << "an answer that comes late is nobody's";
}
