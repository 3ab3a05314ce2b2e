// SPDX-License-Identifier: Apache-2.0
// A token service with faults, and 64 threads that need it: how often it is asked, that no call is late, that no request
// goes out without a token.
#include <algorithm>
#include <chrono>
#include <future>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "identity/TokenTest.h"
#include "interpose/SteadyClock.h"
#include "setting/Secrets.h"

using httpclient::testing::AdvanceSteadyClock;

namespace {

constexpr std::size_t CROWD = 64;

class TokenCrowd : public TokenTest {
protected:
    ~TokenCrowd() override { Release(); }

    /// A call on each of the threads at the same time, every second one asynchronous.
    class Calls {
    public:
        Calls(const Client& client, const Request& request) : m_told(CROWD), m_times(CROWD) {
            for (std::size_t i = 0; i < CROWD; ++i) {
                m_threads.emplace_back([this, &client, &request, i] {
                    m_times[i] = TimeOf([&] {
                        m_told[i] = Told(i % 2 == 0 ? client.Send(request) : client.SendAsync(request).get());
                    });
                });
            }
        }
        ~Calls() { Join(); }
        Calls(const Calls&) = delete;
        Calls& operator=(const Calls&) = delete;

        /// Waits for all of them, and expects that each says this.
        void ExpectAll(const std::string& told) {
            Join();
            EXPECT_EQ(m_told, std::vector<std::string>(CROWD, told));
        }
        /// @return those who say something else.
        std::size_t CountWithout(const std::string& beginning) {
            Join();
            return CROWD - static_cast<std::size_t>(
                               std::count_if(m_told.begin(), m_told.end(), [&](const std::string& told) {
                                   return told.rfind(beginning, 0) == 0;
                               }));
        }
        std::chrono::steady_clock::duration longest() const {
            return *std::max_element(m_times.begin(), m_times.end());
        }

    private:
        void Join() {
            for (std::thread& thread : m_threads) {
                thread.join();
            }
            m_threads.clear();
        }

        std::vector<std::string> m_told;
        std::vector<std::chrono::steady_clock::duration> m_times;
        std::vector<std::thread> m_threads;
    };

    /// @return how many calls wait for a token.
    std::size_t InLine() const {
        engine::TokenStore& store = core().tokens();
        const std::lock_guard<std::mutex> lock(store.m_lock);
        std::size_t count = 0;
        for (const auto& service : store.m_services) {
            count += service.line.size();
        }
        return count;
    }
    /// Has the crowd wait for one exchange, which then ends like this.
    void ExpectOneRefusalForAll(const kit::Reply& reply) {
        m_engine = std::make_unique<Engine>();
        const std::size_t before = m_service.exchanges().size();
        const auto answer = std::make_shared<Moment>(); // the server may leave its wait late
        m_service.AnswerWith([answer, reply](const kit::RecordedRequest&) {
            answer->Wait();
            return reply;
        });
        const Client client = PlatformClient();
        const Request request = Get("/orders");
        Calls calls(client, request);
        EXPECT_TRUE(Becomes([&] { return InLine() == CROWD; }));
        answer->Come();
        calls.ExpectAll("Identity in Token");
        m_service.AnswerNormally();
        EXPECT_EQ(m_service.exchanges().size(), before + 1);
        EXPECT_TRUE(m_server.requests().empty());
    }
    /// Has the crowd find that exchanges fail at once, which is remembered for a second each time.
    void ExpectRefusalsByTheSecond(const std::string& cause) {
        const Client client = PlatformClient();
        const Request request = Get("/orders");
        const auto begin = std::chrono::steady_clock::now();
        for (int i = 0; i < 3; ++i) {
            Calls(client, request).ExpectAll("Identity in Token");
        }
        const auto seconds =
            std::chrono::ceil<std::chrono::seconds>(std::chrono::steady_clock::now() - begin).count();
        const std::string exchanged = Exchanged();
        ASSERT_EQ(exchanged.rfind("orders " + cause + " ", 0), 0U) << exchanged;
        EXPECT_LE(std::stol(exchanged.substr(exchanged.rfind(' '))), seconds);
        EXPECT_TRUE(m_server.requests().empty());
    }
};

} // namespace

TEST_F(TokenCrowd, IsNotHeldBeyondItsDeadlinesByASlowTokenService) {
    constexpr auto DEADLINE = 200ms;
    Hold();
    const Client client = PlatformClient();
    const Request hasty = Get("/orders").timeout(DEADLINE);
    Calls late(client, hasty);
    EXPECT_EQ(late.CountWithout("Timeout in "), 0U);
    EXPECT_LT(late.longest(), DEADLINE + TOLERANCE);
    EXPECT_EQ(m_service.exchanges().size(), 1U);
    EXPECT_TRUE(m_server.requests().empty());
    Release();
    const Request request = Get("/orders");
    Calls(client, request).ExpectAll("200 answer");
    EXPECT_EQ(Seen(), Tokens(CROWD, Nth("orders", 1)));
    EXPECT_EQ(m_service.exchanges().size(), 1U) << "those who left did not end the exchange";
}

TEST_F(TokenCrowd, IsRefusedByOneExchange) {
    ExpectOneRefusalForAll(kit::Respond(403));
    ExpectOneRefusalForAll(kit::Respond(503));
    ExpectOneRefusalForAll(kit::Respond(200, {}, "nonsense"));
    ExpectOneRefusalForAll(kit::Raw("nonsense\r\n\r\n", kit::After::Close));
    ExpectOneRefusalForAll(kit::Silence(kit::After::Reset));
}

TEST_F(TokenCrowd, AsksADeadTokenServiceOnceASecond) {
    m_service.server().Stop();
    ExpectRefusalsByTheSecond("Connect");
}

TEST_F(TokenCrowd, AsksATokenServiceOfAnotherAuthorityOnceASecondUntilItsCertificateIsRight) {
    m_service.server().Stop();
    {
        const kit::CertificateAuthority other;
        kit::TlsOptions tls = m_tls.Server();
        tls.identity = other.IssueServer();
        const kit::FakeTokenService impostor(tls, m_maintenance);
        ExpectRefusalsByTheSecond("Tls");
        EXPECT_TRUE(impostor.exchanges().empty()) << "it does not get the credential";
    }
    kit::FakeTokenService renewed(m_tls.Server(), m_maintenance);
    renewed.SetTokens("orders", {Nth("orders", 7)});
    AdvanceSteadyClock(1s);
    const Client client = PlatformClient();
    const Request request = Get("/orders");
    Calls(client, request).ExpectAll("200 answer");
    EXPECT_EQ(Seen(), Tokens(CROWD, Nth("orders", 7)));
    EXPECT_EQ(renewed.exchanges().size(), 1U);
}

TEST_F(TokenCrowd, HasTheOldTokenWhileOneRenewalGoesOn) {
    const Client client = PlatformClient();
    const Request request = Get("/orders");
    ASSERT_EQ(Told(client.Send(request)), "200 answer");
    Hold();
    AdvanceSteadyClock(11h);
    ASSERT_TRUE(m_service.WaitForExchanges(2));
    Calls(client, request).ExpectAll("200 answer");
    EXPECT_EQ(Seen(), Tokens(CROWD + 1, Nth("orders", 1)));
    EXPECT_EQ(m_service.exchanges().size(), 2U) << "one for the service, one for the renewal";
}

TEST_F(TokenCrowd, HasARefusedTokenReplacedOnce) {
    kit::LoopbackServer server([](const kit::RecordedRequest& request) {
        return request.Header(HEADER) == Nth("orders", 2) ? kit::Respond(200, {}, "answer")
                                                          : kit::Respond(403);
    });
    const Client client = ClientOf(AsPlatform(server.url("")));
    const Request request = Get("/orders");
    Calls(client, request).ExpectAll("200 answer");
    EXPECT_EQ(m_service.exchanges().size(), 2U);
    const Tokens seen = Seen(server);
    EXPECT_EQ(std::count(seen.begin(), seen.end(), Nth("orders", 2)), static_cast<std::ptrdiff_t>(CROWD));
    EXPECT_EQ(std::count(seen.begin(), seen.end(), "none"), 0);
}
