// SPDX-License-Identifier: Apache-2.0
#include <chrono>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <httpclient/testing/Failures.h>
#include <httpclient/testing/LoopbackServer.h>

#include "CurlClient.h"
#include "RawClient.h"

namespace httpclient::testing {

namespace {

using namespace std::chrono_literals;

Reply Ok(const RecordedRequest& /*request*/) {
    return Respond(200, {}, "ok");
}

LoopbackServer::Handler Always(const Reply& reply) {
    return [reply](const RecordedRequest&) { return reply; };
}

constexpr const char* GET = "GET / HTTP/1.1\r\nHost: h\r\n\r\n";

/// Collects reported failures in place of the test's own.
class CaughtFailures {
public:
    CaughtFailures()
        : m_former(SetFailureReporter([this](const std::string& what) { m_caught.push_back(what); })) {}
    ~CaughtFailures() { SetFailureReporter(m_former); }
    CaughtFailures(const CaughtFailures&) = delete;
    CaughtFailures& operator=(const CaughtFailures&) = delete;
    const std::vector<std::string>& caught() const { return m_caught; }

private:
    std::vector<std::string> m_caught;
    FailureReporter m_former;
};

// Each ends about when the next one comes, which is when its thread is looked for.
TEST(LoopbackServer, OutlivesThousandsOfConnectionsThatEndAtOnce) {
    ServerOptions options;
    options.onAccept = [](unsigned int) { return OnAccept::Close; };
    const LoopbackServer server(Ok, options);
    for (unsigned int i = 0; i < 2000; ++i) {
        const RawClient client(server.port());
    }
    EXPECT_TRUE(server.WaitForConnections(2000));
}

TEST(LoopbackServer, RecordsEveryByteOfARequest) {
    const LoopbackServer server(Ok);
    const std::string request =
        std::string("POST /a?b=c%20d HTTP/1.1\r\nhost:h\r\nX-Odd:  two  blanks \r\n") +
        "Content-Length: 5\r\n\r\n" + std::string("he\0lo", 5);
    RawClient client(server.port());
    client.Send(request);
    ASSERT_TRUE(server.WaitForRequests(1));
    const RecordedRequest seen = server.requests().front();
    EXPECT_EQ(seen.raw, request);
    EXPECT_EQ(seen.method, "POST");
    EXPECT_EQ(seen.target, "/a?b=c%20d");
    EXPECT_EQ(seen.version, "HTTP/1.1");
    EXPECT_EQ(seen.headerLines,
              (std::vector<std::string>{"host:h", "X-Odd:  two  blanks ", "Content-Length: 5"}));
    EXPECT_EQ(seen.Header("x-odd"), "two  blanks");
    EXPECT_EQ(seen.Header("x-od"), std::nullopt);
    EXPECT_EQ(seen.HeaderCount("HOST"), 1U);
    EXPECT_EQ(seen.body, std::string("he\0lo", 5));
    EXPECT_EQ(seen.connection, 1U);
    EXPECT_EQ(seen.number, 1U);
    EXPECT_EQ(seen.peerSubject, "");
}

TEST(LoopbackServer, JoinsChunksAndKeepsTheirBytes) {
    const LoopbackServer server(Ok);
    const std::string request = "PUT / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n"
                                "3;x=y\r\nabc\r\nA\r\n0123456789\r\n0\r\nTrailer: t\r\n\r\n";
    RawClient client(server.port());
    client.Send(request);
    ASSERT_TRUE(server.WaitForRequests(1));
    EXPECT_EQ(server.requests().front().body, "abc0123456789");
    EXPECT_EQ(server.requests().front().raw, request);
}

TEST(LoopbackServer, ServesPipelinedRequestsInOrder) {
    const LoopbackServer server([](const RecordedRequest& request) { return Raw(request.target + ";"); });
    RawClient client(server.port());
    client.Send(
        "GET /1 HTTP/1.1\r\n\r\nPOST /2 HTTP/1.1\r\nContent-Length: 2\r\n\r\nhiGET /3 HTTP/1.1\r\n\r\n");
    EXPECT_EQ(client.Receive(9), "/1;/2;/3;");
    const std::vector<RecordedRequest> seen = server.requests();
    ASSERT_EQ(seen.size(), 3U);
    EXPECT_EQ(seen[1].body, "hi");
    EXPECT_EQ(seen[2].number, 3U);
    EXPECT_EQ(seen[2].connection, 1U);
}

TEST(LoopbackServer, ReadsARequestThatComesByteByByte) {
    const LoopbackServer server(Ok);
    RawClient client(server.port());
    for (const char byte : std::string("POST / HTTP/1.1\r\nContent-Length: 2\r\n\r\nhi")) {
        client.Send(std::string(1, byte));
    }
    ASSERT_TRUE(server.WaitForRequests(1));
    EXPECT_EQ(server.requests().front().body, "hi");
}

TEST(LoopbackServer, SendsExactlyTheBytesOfTheReply) {
    const std::string junk("HTTP/1.1 2\n\0\r\rnot http", 22);
    const LoopbackServer server(Always(Raw(junk, After::Close)));
    RawClient client(server.port());
    client.Send(GET);
    EXPECT_EQ(client.ReceiveAll(), junk);
    EXPECT_EQ(client.end(), RawClient::End::Closed);
}

TEST(LoopbackServer, KeepsAConnectionForTheNextRequest) {
    const LoopbackServer server(Ok);
    RawClient client(server.port());
    const std::string reply = "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok";
    client.Send(GET);
    EXPECT_EQ(client.Receive(reply.size()), reply);
    client.Send(GET);
    EXPECT_EQ(client.Receive(reply.size()), reply);
    EXPECT_EQ(server.connectionsAccepted(), 1U);
    EXPECT_EQ(server.openConnections(), 1U);
}

TEST(LoopbackServer, ClosesAfterAReply) {
    const LoopbackServer server(Always(Raw("bye", After::Close)));
    RawClient client(server.port());
    client.Send(GET);
    EXPECT_EQ(client.ReceiveAll(), "bye");
    EXPECT_EQ(client.end(), RawClient::End::Closed);
    EXPECT_TRUE(server.WaitForOpenConnections(0));
}

TEST(LoopbackServer, ResetsInsteadOfAnswering) {
    const LoopbackServer server(Always(Silence(After::Reset)));
    RawClient client(server.port());
    client.Send(GET);
    EXPECT_EQ(client.ReceiveAll(), "");
    EXPECT_EQ(client.end(), RawClient::End::Reset);
}

TEST(LoopbackServer, StallsUntilTheClientCloses) {
    const LoopbackServer server(Always(Raw("half", After::Stall)));
    {
        RawClient client(server.port());
        client.Send(GET);
        EXPECT_EQ(client.Receive(4), "half");
        client.Send(GET);
        client.SetPatience(50);
        EXPECT_EQ(client.ReceiveAll(), "");
        EXPECT_EQ(client.end(), RawClient::End::TimedOut);
        EXPECT_EQ(server.openConnections(), 1U);
    }
    EXPECT_TRUE(server.WaitForOpenConnections(0));
    EXPECT_EQ(server.requests().size(), 1U);
}

TEST(LoopbackServer, PausesBeforeAPiece) {
    const LoopbackServer server(Always(Delayed(Raw("late", After::Close), 80ms)));
    RawClient client(server.port());
    const auto start = std::chrono::steady_clock::now();
    client.Send(GET);
    EXPECT_EQ(client.ReceiveAll(), "late");
    EXPECT_GE(std::chrono::steady_clock::now() - start, 80ms);
}

TEST(LoopbackServer, StopsAtOnceDuringPausesAndStalls) {
    const auto start = std::chrono::steady_clock::now();
    {
        const LoopbackServer server([](const RecordedRequest& request) {
            return request.target == "/stall" ? Silence(After::Stall) : Delayed(Raw("x"), 60s);
        });
        RawClient stalled(server.port());
        RawClient delayed(server.port());
        RawClient idle(server.port());
        stalled.Send("GET /stall HTTP/1.1\r\n\r\n");
        delayed.Send("GET /delay HTTP/1.1\r\n\r\n");
        ASSERT_TRUE(server.WaitForRequests(2));
        ASSERT_TRUE(server.WaitForConnections(3));
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, 5s);
}

TEST(LoopbackServer, RefusesConnectionsOnceStoppedAndKeepsWhatItSaw) {
    LoopbackServer server(Ok);
    EXPECT_EQ(Fetch(server.url()).status, 200);
    server.Stop();
    server.Stop();
    EXPECT_EQ(Fetch(server.url()).code, CURLE_COULDNT_CONNECT);
    EXPECT_EQ(server.requests().size(), 1U);
    EXPECT_EQ(server.openConnections(), 0U);
}

TEST(LoopbackServer, TurnsAHandlersExceptionIntoAFailure) {
    const CaughtFailures failures;
    const LoopbackServer server([](const RecordedRequest&) -> Reply { throw std::runtime_error("no idea"); });
    EXPECT_EQ(Fetch(server.url()).status, 500);
    EXPECT_EQ(server.failures(), std::vector<std::string>{"no idea"});
    ASSERT_EQ(failures.caught().size(), 1U);
    EXPECT_NE(failures.caught().front().find("no idea"), std::string::npos);
    EXPECT_TRUE(server.WaitForOpenConnections(0));
}

TEST(LoopbackServer, TellsAClientToGoOnOnlyWhenItIsTo) {
    const std::string head = "POST / HTTP/1.1\r\nExpect: 100-continue\r\nContent-Length: 2\r\n\r\n";
    const LoopbackServer polite(Always(Raw("done", After::Close)));
    RawClient waiting(polite.port());
    waiting.Send(head);
    EXPECT_EQ(waiting.Receive(25), "HTTP/1.1 100 Continue\r\n\r\n");
    waiting.Send("hi");
    EXPECT_EQ(waiting.ReceiveAll(), "done");

    ServerOptions options;
    options.answerExpect = false;
    const LoopbackServer silent(Always(Raw("done", After::Close)), options);
    RawClient impatient(silent.port());
    impatient.Send(head + "hi");
    EXPECT_EQ(impatient.ReceiveAll(), "done");
}

TEST(LoopbackServer, KeepsWhatWasBrokenOff) {
    const LoopbackServer server(Ok);
    const std::string half = "POST / HTTP/1.1\r\nContent-Length: 10\r\n\r\nhalf";
    RawClient(server.port()).Send(half);
    ASSERT_TRUE(server.WaitForUnfinished(1));
    RawClient(server.port()).Send("no request\r\n");
    ASSERT_TRUE(server.WaitForUnfinished(2));
    RawClient(server.port()).Send("POST / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\nzz\r\n");
    ASSERT_TRUE(server.WaitForUnfinished(3));
    EXPECT_EQ(server.unfinished()[0], half);
    EXPECT_EQ(server.unfinished()[1], "no request\r\n");
    EXPECT_TRUE(server.requests().empty());
}

TEST(LoopbackServer, TreatsEachNewConnectionAsItIsTold) {
    const std::vector<OnAccept> plans = {OnAccept::Close, OnAccept::Reset, OnAccept::ReadNothing,
                                         OnAccept::CloseAfterHello, OnAccept::Serve};
    ServerOptions options;
    options.onAccept = [&plans](unsigned int connection) { return plans.at(connection - 1); };
    const LoopbackServer server(Always(Raw("ok", After::Close)), options);

    RawClient closed(server.port());
    EXPECT_EQ(closed.ReceiveAll(), "");
    EXPECT_EQ(closed.end(), RawClient::End::Closed);

    RawClient reset(server.port());
    EXPECT_EQ(reset.ReceiveAll(), "");
    EXPECT_EQ(reset.end(), RawClient::End::Reset);

    RawClient ignored(server.port());
    ignored.Send(GET);
    ignored.SetPatience(50);
    EXPECT_EQ(ignored.ReceiveAll(), "");
    EXPECT_EQ(ignored.end(), RawClient::End::TimedOut);

    RawClient greeted(server.port());
    greeted.Send("G");
    EXPECT_EQ(greeted.ReceiveAll(), "");
    EXPECT_EQ(greeted.end(), RawClient::End::Closed);

    RawClient served(server.port());
    served.Send(GET);
    EXPECT_EQ(served.ReceiveAll(), "ok");
    EXPECT_EQ(server.requests().size(), 1U);
    EXPECT_EQ(server.requests().front().connection, 5U);
}

TEST(LoopbackServer, ServesManyConnectionsAtOnce) {
    const LoopbackServer server(Ok);
    std::vector<std::thread> clients;
    for (int client = 0; client < 8; ++client) {
        clients.emplace_back([&server] {
            for (int request = 0; request < 5; ++request) {
                EXPECT_EQ(Fetch(server.url()).body, "ok");
            }
        });
    }
    for (std::thread& client : clients) {
        client.join();
    }
    EXPECT_EQ(server.requests().size(), 40U);
    EXPECT_EQ(server.connectionsAccepted(), 40U);
    EXPECT_TRUE(server.WaitForOpenConnections(0));
}

TEST(LoopbackServer, ListensAtIpv6Loopback) {
    ServerOptions options;
    options.address = "::1";
    const LoopbackServer server(Ok, options);
    EXPECT_EQ(server.url("/x"), "http://[::1]:" + std::to_string(server.port()) + "/x");
    EXPECT_EQ(Fetch(server.url()).body, "ok");
}

TEST(LoopbackServer, RefusesToListenBeyondLoopback) {
    for (const char* address : {"0.0.0.0", "::", "192.0.2.1", "localhost"}) {
        ServerOptions options;
        options.address = address;
        EXPECT_THROW(LoopbackServer(Ok, options), std::system_error) << address;
    }
}

TEST(LoopbackServer, SaysWhenItsPortIsTaken) {
    const LoopbackServer first(Ok);
    ServerOptions options;
    options.port = first.port();
    EXPECT_THROW(LoopbackServer(Ok, options), std::system_error);
}

TEST(LoopbackServer, WaitsNoLongerThanItsTimeout) {
    const LoopbackServer server(Ok);
    EXPECT_FALSE(server.WaitForRequests(1, 20ms));
    EXPECT_FALSE(server.WaitForConnections(1, 20ms));
    EXPECT_FALSE(server.WaitForUnfinished(1, 20ms));
    EXPECT_FALSE(server.WaitForOpenConnections(1, 20ms));
}

TEST(ProcessLoopbackAddress, IsALoopbackAddressThatCanBeBound) {
    ServerOptions options;
    options.address = ProcessLoopbackAddress();
    const LoopbackServer server(Ok, options);
    EXPECT_EQ(Fetch(server.url()).body, "ok");
}

} // namespace

} // namespace httpclient::testing
