// SPDX-License-Identifier: Apache-2.0
// Asynchronous calls, with each of their fallible calls failing in turn: on the caller's thread, on the loop, and on the
// threads of callbacks and look-ups. The engine begins under the plan, and ends under it.
#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <string>
#include <system_error>
#include <thread>

#include <openssl/crypto.h>

#include "torture/Torture.h"

namespace {

/// The outcomes of one call.
class Outcomes {
public:
    /// @return a function for Client::Start().
    std::function<void(Result)> Done() {
        return [this](const Result& result) {
            const WithoutFaults exempt;
            OPENSSL_thread_stop(); // its thread keeps its errors with their texts
            const std::lock_guard<std::mutex> lock(m_lock);
            ++m_ended.outcomes;
            m_ended.told = Told(result);
            if (!result) {
                m_ended.sent = result.failure().requestSent();
                m_ended.code = result.failure().code();
            }
            m_changed.notify_all();
        };
    }
    /// Starts a call and waits for its outcome. @return it, or what starting threw.
    Ended Of(const Client& client, const Request& request) {
        try {
            std::optional<Request> mine;
            std::function<void(Result)> done;
            {
                const WithoutFaults exempt;
                m_ended = {};
                m_ended.outcomes = 0;
                mine.emplace(request);
                done = Done();
            }
            client.Start(std::move(*mine), std::move(done));
        } catch (const std::bad_alloc&) {
            return Thrown(std::make_error_code(std::errc::not_enough_memory));
        } catch (const std::system_error& error) {
            return Thrown(error.code());
        }
        return Wait();
    }
    Ended Now() {
        const std::lock_guard<std::mutex> lock(m_lock);
        return m_ended;
    }

private:
    Ended Wait() {
        const WithoutFaults exempt;
        std::unique_lock<std::mutex> lock(m_lock);
        m_changed.wait_for(lock, kit::PATIENCE, [this] { return m_ended.outcomes > 0; });
        return m_ended;
    }
    Ended Thrown(std::error_code code) {
        const WithoutFaults exempt;
        Ended ended = Now();
        ended.outcomes += 1; // what was thrown is the outcome; there may be no other
        ended.told = "Internal: not started";
        ended.code = code;
        return ended;
    }

    std::mutex m_lock;
    std::condition_variable m_changed;
    Ended m_ended;
};

/// Calls of an engine that begins with each of them.
template <class Base> class Starts : public Base {
protected:
    /// @param next options of the next call.
    void Start(const ClientOptions& options, const Request& request, const EngineOptions& with,
               const ClientOptions& next) {
        Outcomes outcomes;
        Scenario scenario;
        scenario.prepare = [&] {
            m_engine.emplace(EngineOptions(with).maxConnections(1, 1));
            m_client.emplace(options, *m_engine);
        };
        scenario.run = [&] { return outcomes.Of(*m_client, request); };
        scenario.clear = [&] {
            EXPECT_EQ(outcomes.Of(Client(next, *m_engine), Get()).told, "200 answer")
                << "over the only slot there is";
            m_client.reset();
            m_engine.reset();
            OPENSSL_thread_stop();
        };
        scenario.next = [] { EXPECT_TRUE(FaultPlan::WaitForThreads()); };
        this->Run(scenario);
    }

    void Start(const ClientOptions& options, const Request& request, const EngineOptions& with = {}) {
        Start(options, request, with, options);
    }

    std::optional<Engine> m_engine;
    std::optional<Client> m_client;
};

using StartTorture = Starts<Torture>;
using TlsStartTorture = Starts<TlsTorture>;

} // namespace

TEST_F(StartTorture, OfAGetIsSurvived) {
    kit::LoopbackServer server(Counting());
    Start(OptionsFor("http://localhost:" + std::to_string(server.port())), Get(), {}, ByName(server));
}

TEST_F(StartTorture, OfAChunkedUploadIsSurvived) {
    kit::LoopbackServer server(Counting());
    const Request request =
        Request(Method::Put, "/")
            .bodySource(
                []() -> BodySource {
                    return [left = 3](char* to, std::size_t room) mutable -> std::ptrdiff_t {
                        std::fill_n(to, room, 'x');
                        return left-- > 0 ? static_cast<std::ptrdiff_t>(room) : 0;
                    };
                },
                std::nullopt);
    Start(OptionsFor(server), request);
}

TEST_F(StartTorture, OfASinkIsSurvived) {
    kit::LoopbackServer server(Counting());
    // A piece is handed over at its end: Told() shows no body.
    const Request request = Get().bodySink([](std::string_view) { return true; });
    Outcomes outcomes;
    Scenario scenario;
    scenario.wanted = "200 ";
    scenario.prepare = [&] {
        m_engine.emplace(EngineOptions().maxConnections(1, 1));
        m_client.emplace(OptionsFor(server), *m_engine);
    };
    scenario.run = [&] { return outcomes.Of(*m_client, request); };
    scenario.clear = [&] {
        EXPECT_EQ(outcomes.Of(*m_client, Get()).told, "200 answer");
        m_client.reset();
        m_engine.reset();
    };
    scenario.next = [] { EXPECT_TRUE(FaultPlan::WaitForThreads()); };
    Run(scenario);
}

TEST_F(StartTorture, OfARetryIsSurvived) {
    kit::LoopbackServer server([this](const kit::RecordedRequest&) {
        return ++m_handled % 2 == 1 ? kit::Respond(503, {}, "not now") : kit::Respond(200, {}, "answer");
    });
    Start(OptionsFor(server).retry(RetryPolicy().attempts(6).pauses(0ms, 0ms).budget(1)), Get());
}

TEST_F(StartTorture, OfAnExecutorIsSurvived) {
    kit::LoopbackServer server(Counting());
    Start(OptionsFor(server), Get(),
          EngineOptions().executor([](const std::function<void()>& run) { run(); }));
}

TEST_F(StartTorture, OfAShutdownIsSurvived) {
    kit::LoopbackServer server(Counting(kit::Silence(kit::After::Stall)));
    Outcomes outcomes;
    const Request request = Get();
    Scenario scenario;
    scenario.wanted = "Shutdown in Head";
    scenario.kind = "Shutdown";
    scenario.prepare = [&] {
        m_engine.emplace(EngineOptions().maxConnections(1, 1));
        m_client.emplace(OptionsFor(server), *m_engine);
    };
    scenario.run = [&] {
        const std::size_t before = m_handled;
        std::atomic<bool> over{false};
        std::thread ending;
        {
            const WithoutFaults exempt;
            ending = std::thread([&] {
                {
                    const WithoutFaults exemptToo;
                    EXPECT_TRUE(Becomes([&] { return over || m_handled > before; }));
                }
                m_engine->Shutdown(0ms);
            });
        }
        Ended ended = outcomes.Of(*m_client, request);
        over = true;
        const WithoutFaults exempt;
        ending.join();
        return ended;
    };
    scenario.clear = [&] {
        m_client.reset();
        m_engine.reset();
    };
    scenario.next = [] { EXPECT_TRUE(FaultPlan::WaitForThreads()); };
    Run(scenario);
}

TEST_F(TlsStartTorture, OfAGetIsSurvived) {
    // Wrong material is remembered for a second, and OpenSSL's decoders say so of what they had no memory for.
    const ClientOptions next = OptionsFor(*m_server).tls(TlsOptions(Options().tls()).verifyHost(false));
    Start(Options(), Get(), {}, next);
}
