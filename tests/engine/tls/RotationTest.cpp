// SPDX-License-Identifier: Apache-2.0
// Certificates change under load: the client's files, one by one, and the server's authority. No call fails.
#include <atomic>
#include <cstdlib>
#include <mutex>
#include <thread>
#include <vector>

#include <httpclient/testing/Environment.h>
#include <httpclient/testing/TlsLoopbackServer.h>

#include "setting/EngineTest.h"

namespace {

using namespace std::chrono_literals;

constexpr int SENDERS = 3;

/// How often the certificates change: once, or as often as the long form says.
int Rounds() {
    const char* const said = std::getenv("TLS_ROTATIONS");
    return said != nullptr ? std::atoi(said) : 1;
}

class Rotation : public EngineTest {
protected:
    /// Writes a certificate and its key, one after the other, as an administrator's tool does.
    void Write(const std::string& name) {
        const kit::Identity identity = m_ca.IssueClient(name);
        m_files.Write("cert.pem", identity.certificatePem);
        std::this_thread::sleep_for(5ms); // calls meet a pair that does not match
        m_files.Write("key.pem", identity.keyPem);
    }
    TlsOptions Files() const {
        return TlsOptions().files(m_files.path() / "ca.pem", m_files.path() / "cert.pem",
                                  m_files.path() / "key.pem");
    }

    const kit::CertificateAuthority m_ca;
    const kit::TemporaryDirectory m_files;
};

} // namespace

TEST_F(Rotation, UnderLoadFailsNoCall) {
    m_files.Write("ca.pem", m_ca.certificatePem());
    Write("client 0");
    kit::TlsOptions tls;
    tls.identity = m_ca.IssueServer();
    tls.clientCaPem = m_ca.certificatePem();
    // Each second connection is not kept, so that handshakes go on all the time.
    std::atomic<unsigned> requests{0};
    const kit::TlsLoopbackServer server(
        [&](const kit::RecordedRequest& request) {
            const kit::Reply reply = kit::Respond(200, {}, request.peerSubject);
            return ++requests % 2 == 0 ? kit::Then(reply, kit::After::Close) : reply;
        },
        tls);
    const Client client = ClientOf(OptionsFor(server).tls(Files()));
    ASSERT_EQ(Told(client.Send(Get())), "200 CN=client 0"); // files that never were right cannot be used
    std::atomic<bool> over{false};
    std::atomic<unsigned> failures{0};
    std::mutex lock;
    std::string lastSubject;
    std::vector<std::thread> callers;
    for (int i = 0; i < SENDERS; ++i) {
        callers.emplace_back([&, onLoop = i % 2 == 1] {
            while (!over) {
                const Result result = onLoop ? client.SendAsync(Get()).get() : client.Send(Get());
                const std::lock_guard<std::mutex> guard(lock);
                lastSubject = Told(result);
                if (!result) {
                    ++failures;
                    ADD_FAILURE() << lastSubject << ": " << result.failure().message();
                }
            }
        });
    }
    for (int round = 1; round <= Rounds(); ++round) {
        const std::string name = "client " + std::to_string(round);
        Write(name);
        EXPECT_TRUE(Becomes([&] {
            const std::lock_guard<std::mutex> guard(lock);
            return lastSubject == "200 CN=" + name;
        }));
    }
    over = true;
    for (std::thread& caller : callers) {
        caller.join();
    }
    EXPECT_EQ(failures, 0U);
    EXPECT_TRUE(server.failedHandshakes().empty());
    RecordProperty("calls", static_cast<int>(requests));
}
