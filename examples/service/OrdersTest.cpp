// SPDX-License-Identifier: Apache-2.0
// The service's own tests, against servers of the testing kit. They run on both roads, with the same expectations.
#include "Orders.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <httpclient/HttpConnectionMgr.h>
#include <httpclient/testing/Certificates.h>
#include <httpclient/testing/Environment.h>
#include <httpclient/testing/LoopbackServer.h>
#include <httpclient/testing/TlsLoopbackServer.h>
#include <httpclient/testing/TlsRoot.h>

using namespace httpclient::testing;

namespace {

/// The service that keeps orders: it knows the order 7.
Reply Serve(const RecordedRequest& request) {
    if (request.target == "/orders?id=7" || request.target == "/orders/7") {
        return Respond(200, {{"Content-Type", "application/json"}}, R"({"id":7})");
    }
    if (request.method == "POST") {
        return Respond(201);
    }
    return request.target.rfind("/orders/7?", 0) == 0 ? Respond(204) : Respond(404);
}

class OrdersTest : public ::testing::Test {
protected:
    ~OrdersTest() override { CHttpConnectionMgr::Finalize(); }

    RecordedRequest Last() const { return m_server.requests().back(); }

    LoopbackServer m_server{&Serve};
    Orders m_orders{m_server.address(), m_server.port(), false};
};

std::mutex g_mutex;
std::condition_variable g_changed;
std::vector<int> g_statuses;

void Announced(const CHttpResponse& response) {
    const std::lock_guard<std::mutex> lock(g_mutex);
    g_statuses.push_back(response.getStatusCode());
    g_changed.notify_all();
}

/// @return the status that the announcement came to.
int StatusOfAnnouncement() {
    std::unique_lock<std::mutex> lock(g_mutex);
    g_changed.wait_for(lock, std::chrono::seconds(20), [] { return !g_statuses.empty(); });
    const int status = g_statuses.empty() ? -2 : g_statuses.back();
    g_statuses.clear();
    return status;
}

} // namespace

TEST_F(OrdersTest, PlacesAnOrder) {
    EXPECT_EQ(m_orders.Place(R"({"items":1})"), Orders::Outcome::Done);
    EXPECT_EQ(Last().method, "POST");
    EXPECT_EQ(Last().target, "/orders");
    EXPECT_EQ(Last().Header("Content-Type"), "application/json");
    EXPECT_EQ(Last().body, R"({"items":1})");
}

TEST_F(OrdersTest, FindsAnOrderAndMissesOthers) {
    EXPECT_EQ(m_orders.Find("7"), R"({"id":7})");
    EXPECT_EQ(m_orders.Find("8"), std::nullopt);
    EXPECT_EQ(Last().target, "/orders?id=8");
}

TEST_F(OrdersTest, CancelsAnOrderWithAReasonInAnyLanguage) {
    EXPECT_EQ(m_orders.Cancel("7", "Zo\xc3\xab & Co"), Orders::Outcome::Done);
    EXPECT_EQ(Last().method, "DELETE");
    EXPECT_EQ(Last().target, "/orders/7?reason=Zo%C3%AB%20%26%20Co");
    EXPECT_EQ(m_orders.Cancel("8", "none"), Orders::Outcome::Unknown);
}

TEST_F(OrdersTest, KnowsWhatExists) {
    EXPECT_TRUE(m_orders.Exists("7"));
    EXPECT_FALSE(m_orders.Exists("8"));
}

TEST_F(OrdersTest, KeepsItsConnection) {
    for (int i = 0; i < 5; ++i) {
        EXPECT_TRUE(m_orders.Exists("7"));
    }
    EXPECT_EQ(m_server.connectionsAccepted(), 1U);
}

TEST_F(OrdersTest, AnnouncesChanges) {
    m_orders.Announce("7", &Announced);
    EXPECT_EQ(StatusOfAnnouncement(), 201);
    EXPECT_EQ(Last().target, "/changes");
    EXPECT_EQ(Last().body, "what=7");
    EXPECT_EQ(Last().Header("Content-Type"), "application/x-www-form-urlencoded");
}

TEST_F(OrdersTest, AreUnavailableWhenTheServiceIsDownOrSlow) {
    LoopbackServer slow([](const RecordedRequest&) { return Silence(After::Stall); });
    EXPECT_EQ(Orders(slow.address(), slow.port(), false, 1).Place("{}"), Orders::Outcome::Unavailable);
    m_server.Stop();
    EXPECT_EQ(m_orders.Place("{}"), Orders::Outcome::Unavailable);
    m_orders.Announce("7", &Announced);
    EXPECT_LE(StatusOfAnnouncement(), 0) << "no status";
}

TEST(OrdersOverTls, ShowTheServicesCertificate) {
    const CertificateAuthority authority;
    const TlsRoot root(authority.certificatePem(), authority.IssueClient("billing"), "", "");
    const ScopedEnvironment environment("SSL_ROOT", root.path());
    TlsOptions options;
    options.identity = authority.IssueServer();
    options.clientCaPem = authority.certificatePem();
    TlsLoopbackServer server(&Serve, options);
    Orders orders(server.address(), server.port(), true);
    EXPECT_EQ(orders.Place("{}"), Orders::Outcome::Done);
    EXPECT_EQ(server.requests().back().peerSubject, "CN=billing");

    const CertificateAuthority stranger("Stranger");
    options.identity = stranger.IssueServer();
    TlsLoopbackServer wrong(&Serve, options);
    EXPECT_EQ(Orders(wrong.address(), wrong.port(), true).Place("{}"), Orders::Outcome::Unavailable);
    EXPECT_TRUE(wrong.requests().empty());
    CHttpConnectionMgr::Finalize();
}
