// SPDX-License-Identifier: Apache-2.0
/// @file
/// Asynchronous calls over an engine of the test's own.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "loop/Ends.h"
#include "setting/EngineTest.h"
#include "setting/ScriptedServer.h"

/// The head of an answer, and its body.
inline std::string Answer(const std::string& body) {
    return "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

/// A script that answers every request with a body.
inline ScriptedServer::Script AnswerAll(const std::string& body = "answer") {
    return [body](Peer& peer) {
        while (peer.Expect("\r\n\r\n")) {
            peer.Send(Answer(body));
        }
    };
}

/// Runs host code where it is handed over: on the loop.
inline void Inline(const std::function<void()>& run) {
    run();
}

/// A test whose calls have one outcome each by the time that its engine has ended.
class AsyncTest : public ::testing::Test {
protected:
    explicit AsyncTest(EngineOptions options = {}) { Remake(std::move(options)); }

    void TearDown() override {
        End();
        EXPECT_EQ(m_ends.Count(), m_started) << "one outcome for each call";
    }

    /// Ends the engine.
    void End() { m_engine.reset(); }
    void Remake(EngineOptions options) { m_engine = std::make_unique<Engine>(std::move(options)); }

    Client ClientOf(ClientOptions options) { return Client(std::move(options), *m_engine); }
    Client ClientOf(const ScriptedServer& server) { return ClientOf(OptionsFor(server.origin())); }
    Client ClientOf(const kit::LoopbackServer& server) { return ClientOf(OptionsFor(server)); }

    /// Starts a call whose outcome is noted under a name.
    Call Start(const Client& client, Request request, const std::string& name = "call") {
        // NOLINTNEXTLINE(clang-analyzer-cplusplus.Move): a test gives a client that was moved from
        Call call = client.Start(std::move(request), m_ends.Of(name));
        ++m_started;
        return call;
    }

    Ends m_ends;
    std::atomic<std::size_t> m_started{0};
    std::unique_ptr<Engine> m_engine;
};
