// SPDX-License-Identifier: Apache-2.0
// A run of random steps, beside a model of the pool and of outcomes. The seed is printed when a run fails;
// HTTPCLIENT_MODEL_SEED runs it again, HTTPCLIENT_MODEL_STEPS says how many steps (tools/engine-model).
#include <algorithm>
#include <cstdlib>
#include <deque>
#include <iostream>
#include <map>
#include <random>

#include "loop/AsyncTest.h"
#include "loop/HandServer.h"

namespace {

constexpr std::size_t CONNECTIONS = 3;
constexpr std::size_t WAITING = 4;

/// What a call is expected to do.
struct ModelCall {
    enum class Kind { Get, Post, Sink };
    Kind kind;
    Call handle;
    int connection = 0;    ///< 0: in line
    bool begun = false;    ///< something of the answer was sent
    bool replaced = false; ///< a dead kept connection was
};

class ModelTest : public AsyncTest {
protected:
    ModelTest() { Begin(); }

    void Begin() {
        Remake(EngineOptions()
                   .maxConnections(CONNECTIONS, CONNECTIONS)
                   .maxWaiting(WAITING)
                   .idleTimeout(std::chrono::hours(1))
                   .maxAge(std::chrono::hours(10)));
        m_client.emplace(ClientOf(OptionsFor(m_server.origin()).timeout(1h)));
    }

    int Random(std::size_t below) {
        return static_cast<int>(std::uniform_int_distribution<std::size_t>(0, below - 1)(m_random));
    }

    void Step() {
        switch (Random(16)) {
        case 0:
            return CloseIdle();
        case 1:
            return EndIdle();
        case 2:
            return ResetOne();
        case 3:
            return AnswerAndClose();
        case 4:
            return Drip();
        case 5:
        case 6:
            return CancelOne();
        case 7:
            return Random(40) == 0 ? Shutdown() : SendLate();
        case 8:
        case 9:
        case 10:
        case 11:
            return AnswerOne();
        default:
            return SendOne();
        }
    }

    // Steps.

    void SendOne() {
        const std::string name = std::to_string(++m_lastName);
        const auto kind = static_cast<ModelCall::Kind>(Random(3));
        Request request = kind == ModelCall::Kind::Post ? Request(Method::Post, "/" + name) : Get("/" + name);
        if (kind == ModelCall::Kind::Sink) {
            request.bodySink([](std::string_view) { return true; });
        }
        Call handle = Start(*m_client, std::move(request), name);
        const bool mayTake = m_line.empty() && (!m_idle.empty() || m_taken < CONNECTIONS);
        if (!mayTake && m_line.size() >= WAITING) {
            return Expect(name, "Overloaded in Lease");
        }
        m_calls.emplace(name, ModelCall{kind, handle});
        if (!mayTake) {
            m_line.push_back(name);
        } else if (!TakeIdle(name)) {
            ++m_taken;
            Dial(name);
        }
    }

    /// A call whose deadline comes while it waits in line.
    void SendLate() {
        if ((m_line.empty() && (!m_idle.empty() || m_taken < CONNECTIONS)) || m_line.size() >= WAITING) {
            return;
        }
        const std::string name = std::to_string(++m_lastName);
        Start(*m_client, Get("/" + name).timeout(1ms), name);
        Expect(name, "Timeout"); // in Lease, unless a busy machine takes a millisecond to look at it
    }

    void AnswerOne() {
        if (const std::string name = RandomExchange(); !name.empty()) {
            ModelCall& call = m_calls.at(name);
            m_server.Send(call.connection, call.begun ? Rest(name) : Head(name, "") + Rest(name));
            const int connection = call.connection;
            End(name, Answered(name));
            PutBack(connection);
        }
    }

    void AnswerAndClose() {
        const std::string name = RandomExchange();
        if (!name.empty() && !m_calls.at(name).begun) {
            const int connection = m_calls.at(name).connection;
            m_server.Send(connection, Head(name, "Connection: close\r\n") + Rest(name));
            End(name, Answered(name));
            EXPECT_TRUE(m_server.WaitForEnd(connection));
            FreeSlot();
        }
    }

    void Drip() {
        const std::string name = RandomExchange();
        if (!name.empty() && !m_calls.at(name).begun) {
            m_server.Send(m_calls.at(name).connection, Head(name, ""));
            m_calls.at(name).begun = true;
        }
    }

    void ResetOne() {
        const std::string name = RandomExchange();
        if (name.empty()) {
            return;
        }
        ModelCall& call = m_calls.at(name);
        const bool replaces =
            m_used[call.connection] && !call.begun && !call.replaced && call.kind != ModelCall::Kind::Post;
        m_server.Reset(call.connection);
        if (replaces) {
            call.replaced = true;
            return Dial(name);
        }
        End(name, "ConnectionLost");
        FreeSlot();
    }

    void CancelOne() {
        if (m_calls.empty()) {
            return;
        }
        const auto entry = std::next(m_calls.begin(), Random(m_calls.size()));
        const std::string name = entry->first;
        const int connection = entry->second.connection;
        entry->second.handle.Cancel();
        if (connection == 0) {
            m_line.erase(std::find(m_line.begin(), m_line.end(), name));
        }
        End(name, "Cancelled");
        if (connection != 0) {
            EXPECT_TRUE(m_server.WaitForEnd(connection));
            FreeSlot();
        }
    }

    void CloseIdle() {
        m_engine->CloseIdleConnections();
        for (const Idle& idle : m_idle) {
            EXPECT_TRUE(idle.dead || m_server.WaitForEnd(idle.connection));
        }
        m_taken -= m_idle.size();
        m_idle.clear();
    }

    void EndIdle() {
        if (!m_idle.empty()) {
            Idle& idle = m_idle[static_cast<std::size_t>(Random(m_idle.size()))];
            if (!idle.dead) {
                m_server.Close(idle.connection);
                idle.dead = true;
            }
        }
    }

    void Shutdown() {
        m_engine->Shutdown(0ms);
        for (const auto& entry : m_calls) {
            Expect(entry.first, "Shutdown");
            EXPECT_TRUE(entry.second.connection == 0 || m_server.WaitForEnd(entry.second.connection));
        }
        const std::string name = std::to_string(++m_lastName);
        Start(*m_client, Get(), name);
        Expect(name, "Shutdown in Prepare");
        m_calls.clear();
        m_line.clear();
        m_taken = m_idle.size();
        for (const Idle& idle : m_idle) {
            EXPECT_TRUE(idle.dead || m_server.WaitForEnd(idle.connection));
        }
        m_idle.clear();
        m_taken = 0;
        Begin();
    }

    // What follows from them.

    /// A call goes out on a connection of its own.
    void Dial(const std::string& name) {
        const int connection = m_server.WaitForRequest("/" + name);
        EXPECT_EQ(connection, ++m_connections) << "a new connection for " << name;
        m_calls.at(name).connection = connection;
    }

    /// The last used connection is taken first; those that the server has closed are passed over.
    bool TakeIdle(const std::string& name) {
        if (m_idle.empty()) {
            return false;
        }
        Idle idle = m_idle.back();
        m_idle.pop_back();
        while (idle.dead && !m_idle.empty()) {
            idle = m_idle.back();
            m_idle.pop_back();
            --m_taken;
        }
        if (idle.dead) {
            Dial(name); // in its place
        } else {
            GoOut(name, idle.connection);
        }
        return true;
    }

    void GoOut(const std::string& name, int connection) {
        EXPECT_EQ(m_server.WaitForRequest("/" + name), connection) << name;
        m_calls.at(name).connection = connection;
    }

    /// A connection may be used again: by the first in line, if there is one.
    void PutBack(int connection) {
        m_used[connection] = true;
        if (m_line.empty()) {
            m_idle.push_back({connection, false});
            return;
        }
        const std::string next = m_line.front();
        m_line.pop_front();
        GoOut(next, connection);
    }

    void FreeSlot() {
        if (m_line.empty()) {
            --m_taken;
            return;
        }
        const std::string next = m_line.front();
        m_line.pop_front();
        Dial(next);
    }

    std::string RandomExchange() {
        std::vector<std::string> names;
        for (const auto& entry : m_calls) {
            if (entry.second.connection != 0) {
                names.push_back(entry.first);
            }
        }
        return names.empty() ? "" : names[static_cast<std::size_t>(Random(names.size()))];
    }

    static std::string Head(const std::string& name, const std::string& fields) {
        return "HTTP/1.1 200 OK\r\n" + fields + "Content-Length: " + std::to_string(name.size() + 1) +
               "\r\n\r\n" + name.substr(0, 1);
    }
    static std::string Rest(const std::string& name) { return name.substr(1) + "."; }
    std::string Answered(const std::string& name) const {
        return m_calls.at(name).kind == ModelCall::Kind::Sink ? "200 " : "200 " + name + ".";
    }

    void End(const std::string& name, const std::string& outcome) {
        Expect(name, outcome);
        m_calls.erase(name);
    }

    void Expect(const std::string& name, const std::string& outcome) {
        const std::string told = m_ends.Told(name);
        EXPECT_EQ(told.substr(0, outcome.size()), outcome) << "of call " << name;
        m_ends.Forget(name);
    }

    struct Idle {
        int connection;
        bool dead; ///< the server has closed it
    };

    std::mt19937 m_random;
    HandServer m_server;
    std::optional<Client> m_client;
    int m_lastName = 0;
    int m_connections = 0; ///< made so far
    std::map<std::string, ModelCall> m_calls;
    std::deque<std::string> m_line;
    std::vector<Idle> m_idle; ///< last used at the end
    std::map<int, bool> m_used;
    std::size_t m_taken = 0; ///< connections, idle ones included
};

unsigned long FromEnvironment(const char* name, unsigned long otherwise) {
    const char* const text = std::getenv(name); // NOLINT(concurrency-mt-unsafe)
    return text != nullptr ? std::strtoul(text, nullptr, 10) : otherwise;
}

TEST_F(ModelTest, PoolAndOutcomesAreAsTheModelSays) {
    const auto seed =
        static_cast<unsigned int>(FromEnvironment("HTTPCLIENT_MODEL_SEED", std::random_device()()));
    const unsigned long steps = FromEnvironment("HTTPCLIENT_MODEL_STEPS", 0);
    m_random.seed(seed);
    RecordProperty("seed", std::to_string(seed));
    const auto begun = std::chrono::steady_clock::now();
    constexpr unsigned long USUAL = 3000;
    unsigned long step = 0;
    for (; steps != 0 ? step < steps : step < USUAL && std::chrono::steady_clock::now() - begun < 5s;
         ++step) {
        Step();
        ASSERT_FALSE(HasFailure()) << "HTTPCLIENT_MODEL_SEED=" << seed
                                   << " HTTPCLIENT_MODEL_STEPS=" << step + 1;
    }
    std::cout << "seed " << seed << ", " << step << " steps\n";
    Shutdown();
}

} // namespace
