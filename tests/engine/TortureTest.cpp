// SPDX-License-Identifier: Apache-2.0
// Calls with each of their fallible calls failing in turn: memory above all, descriptors and threads. The outcome is
// an answer or says what was exhausted, nothing leaks, and the next call finds everything in order.
#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <openssl/crypto.h>

#include <httpclient/testing/Certificates.h>
#include <httpclient/testing/LoopbackServer.h>
#include <httpclient/testing/RecordingTrace.h>
#include <httpclient/testing/TlsLoopbackServer.h>

#include "../torture/FaultPlan.h"
#include "setting/EngineTest.h"

namespace {

/// One engine that lasts; calls under a plan.
class Torture : public ::testing::Test {
protected:
    Torture() : m_engine(EngineOptions().maxConnections(1, 1)) {}

    Client ClientOf(const ClientOptions& options) { return Client(options, m_engine); }
    /// Answers, and counts what it answers.
    kit::LoopbackServer::Handler Counting(kit::Reply reply = kit::Respond(200, {}, "answer")) {
        return [this, reply = std::move(reply)](const kit::RecordedRequest&) {
            ++m_handled;
            return reply;
        };
    }

    /// Runs a call with each of its fallible calls failing in turn.
    /// @param kept whether it goes over a kept connection.
    void Run(const Client& client, const Request& request, const kit::LoopbackServer& server, bool kept) {
        m_server = &server;
        std::size_t count = 0;
        for (int round = 0; round < 3; ++round) { // the first ones set up what lasts as long as the process
            Prepare(client, kept);
            const FaultPlan plan(0);
            const std::string told = CallUnder(plan, client, request);
            EXPECT_EQ(told, "200 answer");
            count = plan.Count();
        }
        ASSERT_GT(count, 0U);
        RecordProperty("FallibleCalls", static_cast<int>(count));
        std::printf("%zu fallible calls\n", count);
        for (const std::size_t failing : Choose(count)) {
            SCOPED_TRACE("call " + std::to_string(failing) + " of " + std::to_string(count) + " fails");
            RunWithFailing(failing, client, request, kept);
            // What is kept on purpose, once, is not kept a second time; a leak is.
            for (int i = 0; FaultPlan::LiveBlocks() > 0 && i < 3; ++i) {
                RunWithFailing(failing, client, request, kept);
            }
            EXPECT_EQ(FaultPlan::LiveBlocks(), 0U) << FaultPlan::DescribeLiveBlocks();
            if (HasFailure()) {
                return;
            }
        }
    }

private:
    /// All where they are few; else some from everywhere, others in each run.
    static std::vector<std::size_t> Choose(std::size_t count) {
        constexpr std::size_t MOST = 400;
        const std::size_t step = std::getenv("TORTURE_ALL") != nullptr ? 1 : count / MOST + 1;
        std::vector<std::size_t> chosen;
        for (std::size_t i = 1 + static_cast<std::size_t>(getpid()) % step; i <= count; i += step) {
            chosen.push_back(i);
        }
        return chosen;
    }

    void Prepare(const Client& client, bool kept) {
        m_engine.CloseIdleConnections();
        m_server->WaitForOpenConnections(0);
        if (kept) {
            EXPECT_EQ(Told(client.Send(Get())), "200 answer");
        }
        kit::TraceRecorder::Instance().Clear();
        m_requests = m_handled;
    }

    /// What a call says, its memory given back when this ends.
    std::string CallUnder(const FaultPlan& /*plan*/, const Client& client, const Request& request) {
        std::optional<Result> result(client.Send(request));
        const WithoutFaults exempt;
        std::string told = Told(*result);
        m_saysSent = !*result && result->failure().requestSent();
        m_code = *result ? std::error_code() : result->failure().code();
        result.reset();
        m_lines = kit::TraceRecorder::Instance().Messages().size();
        kit::TraceRecorder::Instance().Clear();
        m_engine.CloseIdleConnections();
        OPENSSL_thread_stop(); // OpenSSL keeps each thread's errors with their texts
        return told;
    }

    void RunWithFailing(std::size_t failing, const Client& client, const Request& request, bool kept) {
        Prepare(client, kept);
        std::string told;
        {
            const FaultPlan plan(failing);
            told = CallUnder(plan, client, request);
        }
        EXPECT_TRUE(told == "200 answer" || told.compare(0, 8, "Internal") == 0 ||
                    told.compare(0, 7, "Tls in ") == 0 || // OpenSSL does not always say that it was memory
                    (told == "Connect in Connect" && m_code == std::errc::too_many_files_open))
            << told << " " << m_code.message();
        if (told != "200 answer") {
            EXPECT_LE(m_lines, 1U) << "one line at most";
            if (m_handled > m_requests) {
                EXPECT_TRUE(m_saysSent) << told << ": the server has seen it";
            }
        }
        EXPECT_EQ(Told(client.Send(Get())), "200 answer") << "after " << told << ": the only slot there is";
        EXPECT_EQ(Told(client.Send(Get())), "200 answer");
    }

    const kit::LoopbackServer* m_server = nullptr;
    std::size_t m_requests = 0; ///< before the call under a plan
    std::size_t m_lines = 0;
    bool m_saysSent = false;
    std::error_code m_code;
    std::atomic<std::size_t> m_handled{0};
    Engine m_engine;
};

class TlsTorture : public Torture {
protected:
    TlsTorture() {
        m_tls.identity = m_ca.IssueServer();
        m_tls.clientCaPem = m_ca.certificatePem();
        m_tls.resumption = false;
        m_server.emplace(Counting(), m_tls);
        const kit::Identity identity = m_ca.IssueClient();
        m_options.emplace(OptionsFor(*m_server).tls(
            TlsOptions().memory(m_ca.certificatePem(), identity.certificatePem, identity.keyPem)));
    }

    const kit::CertificateAuthority m_ca;
    kit::TlsOptions m_tls;
    std::optional<kit::TlsLoopbackServer> m_server;
    std::optional<ClientOptions> m_options;
};

} // namespace

TEST_F(Torture, OfAGetOnANewConnectionIsSurvived) {
    kit::LoopbackServer server(Counting());
    Run(ClientOf(OptionsFor(server)), Get("/path").header("A", std::string(1000, 'a')), server, false);
}

TEST_F(Torture, OfAGetOnAKeptConnectionIsSurvived) {
    kit::LoopbackServer server(Counting());
    Run(ClientOf(OptionsFor(server)), Get(), server, true);
}

TEST_F(Torture, OfAPostIsSurvived) {
    kit::LoopbackServer server(Counting());
    Run(ClientOf(OptionsFor(server)), Post(std::string(100'000, 'x')), server, true);
}

TEST_F(Torture, OfAChunkedUploadIsSurvived) {
    kit::LoopbackServer server(Counting());
    const Request request =
        Request(Method::Post, "/")
            .bodySource(
                []() -> BodySource {
                    return [left = 5](char* to, std::size_t room) mutable -> std::ptrdiff_t {
                        std::fill_n(to, room, 'x');
                        return left-- > 0 ? static_cast<std::ptrdiff_t>(room) : 0;
                    };
                },
                std::nullopt);
    Run(ClientOf(OptionsFor(server)), request, server, true);
}

TEST_F(Torture, OfACodedAnswerWithManyFieldsIsSurvived) {
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
    Run(ClientOf(OptionsFor(server).decompress(true)), Get(), server, true);
}

TEST_F(TlsTorture, OfAGetOnANewConnectionIsSurvived) {
    Run(ClientOf(*m_options), Get(), *m_server, false);
}

TEST_F(TlsTorture, OfAPostOnAKeptConnectionIsSurvived) {
    Run(ClientOf(*m_options), Post(std::string(50'000, 'x')), *m_server, true);
}
