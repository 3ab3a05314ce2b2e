// SPDX-License-Identifier: Apache-2.0
// Connections and sessions are never shared across keys: the server says so, whatever the client believes.
#include <cstdint>
#include <cstring>
#include <map>
#include <mutex>
#include <random>
#include <vector>

#include "setting/EngineTest.h"
#include "tls/TlsRows.h"

namespace {

constexpr int CALLS_EACH = 150; ///< of each version

/// What a server knows of its connections: which handshake their session goes back to, and on whose behalf they ask.
class Witness {
public:
    /// Has every session carry the number of the full handshake that it goes back to.
    void Prepare(SSL_CTX* context) {
        SSL_CTX_set_session_ticket_cb(context, &Witness::Mark, &Witness::Read, this);
    }

    /// Serves a connection: each request says in its target who asks.
    void Talk(SSL* ssl) {
        const int origin = OriginOf(ssl);
        std::string asker;
        for (;;) {
            const std::string head = ReadHead(ssl);
            if (head.empty()) {
                return;
            }
            const std::string target = head.substr(5, head.find(' ', 5) - 5);
            const std::lock_guard<std::mutex> lock(m_lock);
            if (!asker.empty() && asker != target) {
                m_complaints.push_back("a connection of " + asker + " was used by " + target);
            }
            asker = target;
            const auto [entry, first] = m_askers.emplace(origin, asker);
            if (!first && entry->second != asker) {
                m_complaints.push_back("a session of " + entry->second + " was used by " + asker);
            }
            ++m_requests;
            Answer(ssl);
        }
    }

    std::vector<std::string> complaints() const {
        const std::lock_guard<std::mutex> lock(m_lock);
        return m_complaints;
    }
    int requests() const {
        const std::lock_guard<std::mutex> lock(m_lock);
        return m_requests;
    }

private:
    static int OriginOf(SSL* ssl) {
        void* data = nullptr;
        std::size_t size = 0;
        int origin = 0;
        if (SSL_session_reused(ssl) == 1 &&
            SSL_SESSION_get0_ticket_appdata(SSL_get0_session(ssl), &data, &size) == 1 &&
            size == sizeof origin) {
            std::memcpy(&origin, data, size);
        } else {
            origin = static_cast<int>(reinterpret_cast<std::intptr_t>(SSL_get_app_data(ssl)));
        }
        return origin;
    }
    /// A ticket is about to be made.
    static int Mark(SSL* ssl, void* self) {
        auto& witness = *static_cast<Witness*>(self);
        if (SSL_get_app_data(ssl) == nullptr) {
            const std::lock_guard<std::mutex> lock(witness.m_lock);
            SSL_set_app_data(ssl,
                             reinterpret_cast<void*>(static_cast<std::intptr_t>(++witness.m_handshakes)));
        }
        const int origin = OriginOf(ssl);
        return SSL_SESSION_set1_ticket_appdata(SSL_get0_session(ssl), &origin, sizeof origin);
    }
    static SSL_TICKET_RETURN Read(SSL* /*ssl*/, SSL_SESSION* /*session*/, const unsigned char* /*name*/,
                                  std::size_t /*size*/, SSL_TICKET_STATUS status, void* /*self*/) {
        return status == SSL_TICKET_SUCCESS         ? SSL_TICKET_RETURN_USE
               : status == SSL_TICKET_SUCCESS_RENEW ? SSL_TICKET_RETURN_USE_RENEW
                                                    : SSL_TICKET_RETURN_IGNORE_RENEW;
    }

    mutable std::mutex m_lock;
    int m_handshakes = 0;
    int m_requests = 0;
    std::map<int, std::string> m_askers; ///< by the handshake that a session goes back to
    std::vector<std::string> m_complaints;
};

/// Clients that differ in one part of their key each.
std::vector<ClientOptions> Keys(unsigned short port) {
    Saying shown;
    shown.subject = "client";
    shown.purpose = "clientAuth";
    const Certified one(shown, TheAuthority());
    const Certified two(shown, TheAuthority());
    const std::string place = "127.0.0.1:" + std::to_string(port);
    const std::string ca = TheAuthority().pem();
    const auto client = [&](const std::string& origin, const TlsOptions& tls, const std::string& where) {
        return OptionsFor(origin).connectTo(where).tls(tls);
    };
    const TlsOptions plain = TlsOptions().memory(ca);
    return {
        client("https://service.test", plain, place),
        client("https://other.test", plain, place),
        client("https://service.test:444", plain, place),
        client("https://service.test", plain, "localhost:" + std::to_string(port)),
        client("https://service.test", TlsOptions(plain).verifyHost(false), place),
        client("https://service.test", TlsOptions(plain).serverName("other.test"), place),
        client("https://service.test", TlsOptions().memory(ca, one.pem(), one.keyPem()), place),
        client("https://service.test", TlsOptions().memory(ca, two.pem(), two.keyPem()), place),
        client("https://service.test", TlsOptions().memory(ca + ca), place),
    };
}

} // namespace

TEST(TlsSharing, NeverCrossesKeysAsTheServerSeesIt) {
    const unsigned seed = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(seed));
    for (const int version : {TLS1_2_VERSION, TLS1_3_VERSION}) {
        Witness witness;
        Manner manner = Showing(Saying::Server("DNS:service.test,DNS:other.test"));
        manner.oldest = manner.newest = version;
        manner.prepare = [&](SSL_CTX* context) { witness.Prepare(context); };
        manner.talk = [&](SSL* ssl, int /*fd*/) { witness.Talk(ssl); };
        const TlsServer server(manner);
        Engine engine;
        std::vector<Client> clients;
        for (const ClientOptions& options : Keys(server.port())) {
            clients.emplace_back(options, engine);
        }
        std::mt19937 random(seed);
        for (int call = 0; call < CALLS_EACH; ++call) {
            const std::size_t who = random() % clients.size();
            const Request request = Get("/" + std::to_string(who));
            const bool onLoop = random() % 2 == 0;
            const Result result = onLoop ? clients[who].SendAsync(request).get() : clients[who].Send(request);
            ASSERT_EQ(Told(result), "200 answer");
            if (random() % 3 == 0) {
                engine.CloseIdleConnections();
            }
        }
        EXPECT_EQ(witness.complaints(), std::vector<std::string>{});
        EXPECT_EQ(witness.requests(), CALLS_EACH);
        EXPECT_GT(server.resumed(), 10U) << "sessions are resumed at all";
    }
}
