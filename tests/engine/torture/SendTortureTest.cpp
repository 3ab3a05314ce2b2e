// SPDX-License-Identifier: Apache-2.0
// Calls on the caller's thread, with each of their fallible calls failing in turn.
#include <algorithm>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>

#include <openssl/crypto.h>

#include "torture/Torture.h"

namespace {

/// Calls over one engine that lasts, with one slot.
template <class Base> class Sends : public Base {
protected:
    Sends() : m_engine(EngineOptions().maxConnections(1, 1)) {}

    enum class Over { NewConnection, KeptConnection };

    void Send(const ClientOptions& options, const Request& request, const kit::LoopbackServer& server,
              Over over) {
        const Client client(options, m_engine);
        Scenario scenario;
        scenario.prepare = [&] {
            m_engine.CloseIdleConnections();
            server.WaitForOpenConnections(0);
            if (over == Over::KeptConnection) {
                EXPECT_EQ(Told(client.Send(Get())), "200 answer");
            }
        };
        scenario.run = [&] { return EndOf(client.Send(request)); };
        scenario.clear = [&] {
            m_engine.CloseIdleConnections();
            OPENSSL_thread_stop(); // OpenSSL keeps each thread's errors with their texts
        };
        scenario.next = [&] {
            EXPECT_EQ(Told(client.Send(Get())), "200 answer") << "over the only slot there is";
            EXPECT_EQ(Told(client.Send(Get())), "200 answer");
        };
        this->Run(scenario);
    }

    Engine m_engine;
};

using SendTorture = Sends<Torture>;
using TlsSendTorture = Sends<TlsTorture>;

/// A body of some pieces, of unknown length.
Request Upload() {
    return Request(Method::Put, "/")
        .bodySource(
            []() -> BodySource {
                return [left = 5](char* to, std::size_t room) mutable -> std::ptrdiff_t {
                    std::fill_n(to, room, 'x');
                    return left-- > 0 ? static_cast<std::ptrdiff_t>(room) : 0;
                };
            },
            std::nullopt);
}

} // namespace

TEST_F(SendTorture, OfAGetOnANewConnectionIsSurvived) {
    kit::LoopbackServer server(Counting());
    Send(OptionsFor(server), Get("/path").header("A", std::string(1000, 'a')), server, Over::NewConnection);
}

TEST_F(SendTorture, OfAGetOnAKeptConnectionIsSurvived) {
    kit::LoopbackServer server(Counting());
    Send(OptionsFor(server), Get(), server, Over::KeptConnection);
}

TEST_F(SendTorture, OfAPostIsSurvived) {
    kit::LoopbackServer server(Counting());
    Send(OptionsFor(server), Post(std::string(100'000, 'x')), server, Over::KeptConnection);
}

TEST_F(SendTorture, OfAChunkedUploadIsSurvived) {
    kit::LoopbackServer server(Counting());
    Send(OptionsFor(server), Upload(), server, Over::KeptConnection);
}

TEST_F(SendTorture, OfASinkIsSurvived) {
    kit::LoopbackServer server(Counting(kit::Respond(200, {}, std::string(100'000, 'x'))));
    std::string taken;
    const Request request = Get().bodySink([&](std::string_view piece) {
        const WithoutFaults exempt;
        taken.append(piece);
        return true;
    });
    // What the sink took is not in the answer; the calls before and after have it there.
    const Client client(OptionsFor(server), m_engine);
    Scenario scenario;
    scenario.wanted = "200 100000";
    scenario.prepare = [&] {
        taken.clear();
        m_engine.CloseIdleConnections();
        server.WaitForOpenConnections(0);
    };
    scenario.run = [&] {
        const Result result = client.Send(request);
        Ended ended = EndOf(result);
        const WithoutFaults exempt;
        if (result) {
            ended.told += std::to_string(taken.size());
        }
        return ended;
    };
    scenario.clear = [&] { m_engine.CloseIdleConnections(); };
    scenario.next = [&] { EXPECT_EQ(client.Send(Get())->body().size(), 100'000U); };
    Run(scenario);
}

TEST_F(SendTorture, OfACodedAnswerWithManyFieldsIsSurvived) {
    std::string fields;
    for (int i = 0; i < 60; ++i) {
        fields += "Field-" + std::to_string(i) + ": value\r\n";
    }
    // "answer", stored without compression.
    const std::string coded("\x78\x01\x01\x06\x00\xf9\xff"
                            "answer"
                            "\x08\xdf\x02\x91",
                            17);
    kit::LoopbackServer server(Counting(kit::Raw("HTTP/1.1 200 OK\r\nContent-Encoding: deflate\r\n" + fields +
                                                 "Content-Length: 17\r\n\r\n" + coded)));
    Send(OptionsFor(server).decompress(true), Get(), server, Over::KeptConnection);
}

TEST_F(SendTorture, OfARetryIsSurvived) {
    kit::LoopbackServer server([this](const kit::RecordedRequest&) {
        return ++m_handled % 2 == 1 ? kit::Respond(503, {}, "not now") : kit::Respond(200, {}, "answer");
    });
    const ClientOptions options =
        OptionsFor(server).retry(RetryPolicy().attempts(4).pauses(0ms, 0ms).budget(1));
    const Client client(options, m_engine);
    Scenario scenario;
    scenario.prepare = [&] {
        m_engine.CloseIdleConnections();
        server.WaitForOpenConnections(0);
        m_handled = 0;
    };
    const Request request = Get();
    scenario.run = [&] { return EndOf(client.Send(request)); };
    scenario.clear = [&] { m_engine.CloseIdleConnections(); };
    scenario.next = [&] {
        m_handled = 0;
        EXPECT_EQ(ToldFully(client.Send(Get())), "200 answer, attempts 2, reused");
    };
    Run(scenario);
}

TEST_F(Torture, OfTheFirstCallOfAnEngineIsSurvived) {
    kit::LoopbackServer server(Counting());
    const ClientOptions options = OptionsFor("http://localhost:" + std::to_string(server.port()));
    const ClientOptions patient = ByName(server);
    std::optional<Engine> engine;
    std::optional<Client> client;
    Scenario scenario;
    scenario.prepare = [&] {
        engine.emplace(EngineOptions().maxConnections(1, 1));
        client.emplace(options, *engine);
    };
    const Request request = Get();
    scenario.run = [&] { return EndOf(client->Send(request)); };
    scenario.next = [&] {
        EXPECT_EQ(Told(Client(patient, *engine).Send(Get())), "200 answer");
        client.reset();
        engine.reset();
        EXPECT_TRUE(FaultPlan::WaitForThreads());
    };
    Run(scenario);
}

TEST_F(TlsSendTorture, OfAGetOnANewConnectionIsSurvived) {
    kit::TlsOptions tls;
    tls.identity = m_ca.IssueServer();
    tls.clientCaPem = m_ca.certificatePem();
    tls.resumption = false;
    kit::TlsLoopbackServer server(Counting(), tls);
    Send(Options().connectTo(server.authority()), Get(), server, Over::NewConnection);
}

TEST_F(TlsSendTorture, OfAGetThatResumesASessionIsSurvived) {
    Send(Options(), Get(), *m_server, Over::NewConnection); // each leaves a ticket to the next
}

TEST_F(TlsSendTorture, OfAPostOnAKeptConnectionIsSurvived) {
    Send(Options(), Post(std::string(50'000, 'x')), *m_server, Over::KeptConnection);
}

TEST_F(TlsTorture, OfAClientThatIsMadeIsSurvived) {
    Engine engine(EngineOptions().maxConnections(1, 1));
    const ClientOptions options = Options();
    std::optional<Client> client;
    Scenario scenario;
    scenario.wanted = "made";
    scenario.prepare = [] {};
    scenario.run = [&] {
        Ended ended;
        std::string thrown = "made";
        try {
            client.emplace(options, engine);
        } catch (const std::bad_alloc&) {
            const WithoutFaults exempt;
            ended.code = std::make_error_code(std::errc::not_enough_memory);
            thrown = "Internal";
        } catch (const std::invalid_argument&) { // OpenSSL's decoders say so of what they had no memory for
            const WithoutFaults exempt;
            ended.code = std::make_error_code(std::errc::invalid_argument);
            thrown = "Tls in Handshake";
        }
        const WithoutFaults exempt;
        ended.told = thrown;
        return ended;
    };
    scenario.clear = [&] {
        client.reset();
        OPENSSL_thread_stop();
    };
    scenario.next = [&] { EXPECT_EQ(Told(Client(options, engine).Send(Get())), "200 answer"); };
    Run(scenario);
}
