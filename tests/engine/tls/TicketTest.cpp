// SPDX-License-Identifier: Apache-2.0
// Tickets that turn bad: a session that a server gave and does not want any more costs a handshake at most.
#include "setting/EngineTest.h"
#include "tls/TlsRows.h"

namespace {

/// What the server does with a ticket that it is shown.
using Judgement = SSL_TICKET_RETURN (*)(SSL_TICKET_STATUS status);

SSL_TICKET_RETURN Judge(SSL* /*ssl*/, SSL_SESSION* /*session*/, const unsigned char* /*name*/,
                        std::size_t /*size*/, SSL_TICKET_STATUS status, void* judgement) {
    const bool shown = status != SSL_TICKET_EMPTY && status != SSL_TICKET_NONE;
    return shown ? reinterpret_cast<Judgement>(judgement)(status) : SSL_TICKET_RETURN_IGNORE_RENEW;
}

int Allow(SSL* /*ssl*/, void* /*judgement*/) {
    return 1;
}

class TlsTicket : public EngineTest {
protected:
    static Manner Speaking(int version) {
        Manner manner = Sound();
        manner.oldest = manner.newest = version;
        return manner;
    }
    Client ClientOf(const TlsServer& server) {
        return EngineTest::ClientOf(OptionsFor("https://service.test")
                                        .connectTo("127.0.0.1:" + std::to_string(server.port()))
                                        .tls(TlsOptions().memory(TheAuthority().pem())));
    }
    /// Calls over a fresh connection. The tickets of TLS 1.3 come behind the handshake, with the answer.
    std::string Call(const Client& client, bool onLoop) {
        m_engine.CloseIdleConnections();
        return Told(onLoop ? client.SendAsync(Post()).get() : client.Send(Post()));
    }
};

constexpr int VERSIONS[] = {TLS1_2_VERSION, TLS1_3_VERSION};

} // namespace

TEST_F(TlsTicket, ThatIsGoodIsUsed) {
    for (const int version : VERSIONS) {
        const TlsServer server(Speaking(version));
        const Client client = ClientOf(server);
        for (int call = 0; call < 6; ++call) {
            EXPECT_EQ(Call(client, call % 2 == 1), "200 answer");
        }
        EXPECT_EQ(server.resumed(), 5U);
    }
}

TEST_F(TlsTicket, OfKeysThatTheServerHasLostIsReplaced) {
    for (const int version : VERSIONS) {
        Manner manner = Speaking(version);
        manner.ticketKeys = false;
        const TlsServer server(manner);
        const Client client = ClientOf(server);
        for (int call = 0; call < 6; ++call) {
            EXPECT_EQ(Call(client, call % 2 == 1), "200 answer");
        }
        EXPECT_EQ(server.resumed(), 0U);
        EXPECT_EQ(server.handshakes(), 6U);
    }
}

TEST_F(TlsTicket, ThatTheServerIgnoresIsReplaced) {
    for (const int version : VERSIONS) {
        Manner manner = Speaking(version);
        manner.prepare = [](SSL_CTX* context) {
            const Judgement ignore = [](SSL_TICKET_STATUS) -> SSL_TICKET_RETURN {
                return SSL_TICKET_RETURN_IGNORE_RENEW;
            };
            SSL_CTX_set_session_ticket_cb(context, &Allow, &Judge, reinterpret_cast<void*>(ignore));
        };
        const TlsServer server(manner);
        const Client client = ClientOf(server);
        for (int call = 0; call < 6; ++call) {
            EXPECT_EQ(Call(client, call % 2 == 1), "200 answer");
        }
        EXPECT_EQ(server.resumed(), 0U);
    }
}

TEST_F(TlsTicket, ThatTheServerEndsTheHandshakeForCostsOneCall) {
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "OpenSSL's server loses the session of a ticket that it ends the handshake for";
#endif
    for (const int version : VERSIONS) {
        Manner manner = Speaking(version);
        manner.prepare = [](SSL_CTX* context) {
            const Judgement abort = [](SSL_TICKET_STATUS) -> SSL_TICKET_RETURN {
                return SSL_TICKET_RETURN_ABORT;
            };
            SSL_CTX_set_session_ticket_cb(context, &Allow, &Judge, reinterpret_cast<void*>(abort));
        };
        const TlsServer server(manner);
        const Client client = ClientOf(server);
        for (int round = 0; round < 3; ++round) {
            EXPECT_EQ(Call(client, round % 2 == 1), "200 answer");
            EXPECT_EQ(Call(client, round % 2 == 1), "Tls in Handshake");
        }
    }
}
