// SPDX-License-Identifier: Apache-2.0
// Connections that end or are reset at each byte of an exchange, in each direction: nothing half is taken for whole, and
// the next call is fine.
#include <algorithm>
#include <cstdlib>
#include <numeric>
#include <random>
#include <vector>

#include <httpclient/testing/Certificates.h>
#include <httpclient/testing/TlsLoopbackServer.h>

#include "setting/ScriptedServer.h"
#include "wire/Relay.h"
#include "wire/WireTest.h"

namespace {

const std::string BODY = "body";

/// An exchange: what is asked, what comes down, and the outcome.
struct Exchange {
    std::string name;
    Request request;
    std::size_t bodyUp; ///< bytes of the request's body
    std::string head;   ///< of the answer, interim ones included
    std::string body;
    std::string outcome;
};

const std::vector<Exchange>& Exchanges() {
    static const std::vector<Exchange> all = {
        {"a length", Get(), 0, OK + "Content-Length: 6\r\n\r\n", "answer", "200 answer"},
        {"chunks", Get(), 0, OK + "Transfer-Encoding: chunked\r\n\r\n",
         "3\r\nans\r\n3;a=b\r\nwer\r\n0\r\nT: u\r\n\r\n", "200 answer"},
        {"an interim answer", Post(BODY), BODY.size(),
         "HTTP/1.1 103 Early\r\nLink: a\r\n\r\n" + OK + "Content-Length: 6\r\n\r\n", "answer", "200 answer"},
        {"no body", {Method::Delete, "/"}, 0, "HTTP/1.1 204 No\r\n\r\n", "", "204 "},
    };
    return all;
}

/// Answers every request with the same bytes.
ScriptedServer::Script Answering(const Exchange& exchange) {
    return [bytes = exchange.head + exchange.body, bodyUp = exchange.bodyUp](Peer& peer) {
        while (peer.Expect("\r\n\r\n") && (bodyUp == 0 || peer.Expect(BODY))) {
            peer.Send(bytes);
        }
    };
}

Way CutAfter(std::size_t bytes, Way::Cut cut) {
    Way way;
    way.cutAt = bytes;
    way.cut = cut;
    return way;
}

const char* TextOf(Way::Cut cut) {
    return cut == Way::Cut::Reset ? "reset" : "ended";
}

/// The places at which an exchange is cut: the first, the last and some drawn ones, or each one in the long form.
std::vector<std::size_t> Places(std::size_t size, unsigned seed) {
    std::vector<std::size_t> places(size);
    std::iota(places.begin(), places.end(), std::size_t{0});
    constexpr std::size_t DRAWN = 12;
    if (std::getenv("WIRE_ALL") == nullptr && size > DRAWN) {
        std::shuffle(places.begin() + 1, places.end() - 1, std::mt19937(seed));
        places.erase(places.begin() + DRAWN, places.end() - 1);
    }
    return places;
}

class Cut : public WireTest {
protected:
    /// Sends a first call over a connection with faults, and a second one over a sound connection.
    /// @return what became of the first.
    std::string SendTwice(const ScriptedServer& server, const Exchange& exchange, const Faults& faults) {
        const Relay relay(server.port(), [&](unsigned number) { return number == 1 ? faults : Faults(); });
        // The name is the same each time, so that the request has the same size.
        const Client client = ClientOf(OptionsFor("http://server.test").connectTo(relay.authority()));
        std::string told = Told(Send(client, exchange.request));
        EXPECT_TRUE(Becomes([&] { return relay.cuts() == 1; }));
        EXPECT_EQ(Told(Send(client, exchange.request)), exchange.outcome) << "the next call";
        return told;
    }

    /// @return how many bytes the request has.
    std::size_t SizeUp(const Exchange& exchange) {
        ScriptedServer server(Answering(exchange));
        const Client client = ClientOf(
            OptionsFor("http://server.test").connectTo("127.0.0.1:" + std::to_string(server.port())));
        EXPECT_EQ(Told(Send(client, exchange.request)), exchange.outcome);
        m_engine->CloseIdleConnections();
        EXPECT_TRUE(server.WaitForEnds(1));
        return server.received().at(0).size();
    }
};

} // namespace

TEST_P(Cut, AtEachByteOfAnAnswerLosesTheCall) {
    for (const Exchange& exchange : Exchanges()) {
        ScriptedServer server(Answering(exchange));
        const std::size_t size = exchange.head.size() + exchange.body.size();
        for (const Way::Cut cut : {Way::Cut::Reset, Way::Cut::End}) {
            for (const std::size_t place : Places(size, m_seed)) {
                SCOPED_TRACE(exchange.name + " " + TextOf(cut) + " after " + std::to_string(place));
                Faults faults;
                faults.down = CutAfter(place, cut);
                EXPECT_EQ(SendTwice(server, exchange, faults),
                          place < exchange.head.size() ? "ConnectionLost in Head" : "ConnectionLost in Body");
            }
        }
    }
}

TEST_P(Cut, RightBehindAnAnswerLosesNothing) {
    for (const Exchange& exchange : Exchanges()) {
        ScriptedServer server(Answering(exchange));
        for (const Way::Cut cut : {Way::Cut::Reset, Way::Cut::End}) {
            SCOPED_TRACE(exchange.name + " " + TextOf(cut));
            Faults faults;
            faults.down = CutAfter(exchange.head.size() + exchange.body.size(), cut);
            EXPECT_EQ(SendTwice(server, exchange, faults), exchange.outcome);
        }
    }
}

TEST_P(Cut, AtEachByteOfARequestLosesTheCall) {
    for (const Exchange& exchange : Exchanges()) {
        ScriptedServer server(Answering(exchange));
        const std::size_t size = SizeUp(exchange);
        for (const Way::Cut cut : {Way::Cut::Reset, Way::Cut::End}) {
            for (const std::size_t place : Places(size, m_seed)) {
                SCOPED_TRACE(exchange.name + " " + TextOf(cut) + " after " + std::to_string(place));
                Faults faults;
                faults.up = CutAfter(place, cut);
                EXPECT_EQ(SendTwice(server, exchange, faults), "ConnectionLost in Head");
            }
        }
        // The server has all of it, and answers before it ends.
        const Relay relay(server.port(), [size](unsigned) {
            return Faults{CutAfter(size, Way::Cut::End), {}};
        });
        const Client client = ClientOf(OptionsFor("http://server.test").connectTo(relay.authority()));
        EXPECT_EQ(Told(Send(client, exchange.request)), exchange.outcome);
    }
}

TEST_P(Cut, OfAKeptConnectionIsMadeGoodOnlyWhereNothingCanHappenTwice) {
    for (const Exchange& exchange : Exchanges()) {
        ScriptedServer server(Answering(exchange));
        const std::size_t first = SizeUp(exchange);
        const std::size_t answer = exchange.head.size() + exchange.body.size();
        const bool repeatable = exchange.bodyUp == 0;
        for (const Way::Cut cut : {Way::Cut::Reset, Way::Cut::End}) {
            for (const bool up : {true, false}) {
                const std::size_t size = up ? first : answer;
                for (const std::size_t place : Places(size, m_seed)) {
                    if (place == 0) {
                        continue; // ends right behind the first answer, which nobody waits for
                    }
                    SCOPED_TRACE(exchange.name + " " + TextOf(cut) + (up ? " up" : " down") + " after " +
                                 std::to_string(place));
                    Faults faults;
                    (up ? faults.up : faults.down) = CutAfter(size + place, cut);
                    const Relay relay(server.port(),
                                      [&](unsigned number) { return number == 1 ? faults : Faults(); });
                    const Client client =
                        ClientOf(OptionsFor("http://server.test").connectTo(relay.authority()));
                    EXPECT_EQ(Told(Send(client, exchange.request)), exchange.outcome);
                    const std::string told = Told(Send(client, exchange.request));
                    if (up) {
                        EXPECT_EQ(told, repeatable ? exchange.outcome : "ConnectionLost in Head");
                    } else {
                        EXPECT_EQ(told.substr(0, 14), "ConnectionLost") << "a byte of an answer had come";
                    }
                    EXPECT_EQ(Told(Send(client, exchange.request)), exchange.outcome) << "the next call";
                }
            }
        }
    }
}

namespace {

class CutTls : public WireTest {
protected:
    kit::CertificateAuthority m_ca;
    kit::TlsOptions m_tls = ServerTls(m_ca);
};

} // namespace

TEST_P(CutTls, AnywhereLosesTheCallAndNothingElse) {
    constexpr std::size_t SIZES[] = {900, 1600}; // up and down, about: a handshake and an exchange
    for (const kit::NewestTls newest : {kit::NewestTls::Tls12, kit::NewestTls::Tls13}) {
        m_tls.newest = newest;
        const kit::TlsLoopbackServer server(Always(), m_tls);
        for (const bool up : {true, false}) {
            for (const Way::Cut cut : {Way::Cut::Reset, Way::Cut::End}) {
                for (const std::size_t place : Places(SIZES[up ? 0 : 1], m_seed)) {
                    SCOPED_TRACE(std::string(TextOf(cut)) + (up ? " up" : " down") + " after " +
                                 std::to_string(place));
                    Faults faults;
                    (up ? faults.up : faults.down) = CutAfter(place, cut);
                    const Relay relay(server.port(),
                                      [&](unsigned number) { return number == 1 ? faults : Faults(); });
                    const Client client = ClientOf(OptionsFor("https://localhost")
                                                       .connectTo(relay.authority())
                                                       .tls(TlsOptions().memory(m_ca.certificatePem())));
                    const std::string told = Told(Send(client, Get()));
                    // A server that is cut off amid a handshake may say so by an alert, behind its last flight, and
                    // be gone when the request is written.
                    EXPECT_TRUE(told == "200 answer" || told == "Tls in Head" || told == "Tls in Send" ||
                                told == "Tls in Handshake" || told == "ConnectionLost in Handshake" ||
                                told == "ConnectionLost in Send" || told == "ConnectionLost in Head" ||
                                told == "ConnectionLost in Body")
                        << told;
                    EXPECT_EQ(Told(Send(client, Get())), "200 answer") << "the next call";
                }
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(By, Cut, ::testing::Values(Driver::Blocking, Driver::Loop), NameOf);
INSTANTIATE_TEST_SUITE_P(By, CutTls, ::testing::Values(Driver::Blocking, Driver::Loop), NameOf);
