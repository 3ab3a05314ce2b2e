// SPDX-License-Identifier: Apache-2.0
// A run of random steps, beside a model of the pool and of outcomes, over plain connections and over TLS. The seed is
// printed when a run fails;
// HTTPCLIENT_MODEL_SEED runs it again, HTTPCLIENT_MODEL_STEPS says how many steps (tools/engine-model).
#include <algorithm>
#include <cstdlib>
#include <deque>
#include <filesystem>
#include <iostream>
#include <map>
#include <random>
#include <set>

#include <httpclient/testing/Environment.h>

#include "interpose/SteadyClock.h"
#include "loop/AsyncTest.h"
#include "loop/HandServer.h"

namespace {

constexpr std::size_t CONNECTIONS = 3;
constexpr std::size_t WAITING = 4;

/// The clock goes forward by this much at a time. No time-out is a multiple of it, so that the little that passes by
/// itself decides nothing.
constexpr std::chrono::minutes TICK{7};
constexpr int TICKS_OF_AN_HOUR = 9; ///< after so many an hour is over, and not before

/// What a call is expected to do.
struct ModelCall {
    enum class Kind { Get, Post, Sink };
    Kind kind;
    Call handle;
    int begin;             ///< in ticks
    int connection = 0;    ///< 0: in line
    bool begun = false;    ///< something of the answer was sent
    bool replaced = false; ///< a dead kept connection was
};

/// With and without TLS.
class ModelTest : public AsyncTest, public ::testing::WithParamInterface<bool> {
protected:
    struct Idle {
        int connection;
        bool dead; ///< the server has closed it
        int since; ///< in ticks
    };

    ModelTest() {
        if (GetParam()) {
            m_files.Write("ca.pem", m_ca.certificatePem());
            WriteCertificate();
        }
        Begin();
    }

    void Begin() {
        Remake(EngineOptions()
                   .maxConnections(CONNECTIONS, CONNECTIONS)
                   .maxWaiting(WAITING)
                   .idleTimeout(std::chrono::hours(1))
                   .maxAge(std::chrono::hours(100'000)));
        m_client.emplace(
            ClientOf(OptionsFor(m_server.origin())
                         .timeout(1h)
                         .tls(TlsOptions().files(m_files.path() / "ca.pem", m_files.path() / "shown.pem",
                                                 m_files.path() / "shown.pem"))));
    }

    int Random(std::size_t below) {
        return static_cast<int>(std::uniform_int_distribution<std::size_t>(0, below - 1)(m_random));
    }

    void Step() {
        switch (Random(18)) {
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
        case 12:
            return Forward();
        case 13:
            return GetParam() ? ChangeCertificate() : SendOne();
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
        m_calls.emplace(name, ModelCall{kind, handle, m_ticks});
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

    /// Ends what has had its hour: calls, and connections that nobody used.
    void Forward() {
        kit::AdvanceSteadyClock(TICK);
        ++m_ticks;
        // A loop that sleeps in the system does not hear of this clock. It looks at it when it is woken.
        const std::string waking = std::to_string(++m_lastName);
        Start(*m_client, Get("no path"), waking);
        Expect(waking, "InvalidRequest in Prepare");
        EndIdleWhere([&](const Idle& idle) { return IsOver(idle.since); });
        while (!m_line.empty() && IsOver(m_calls.at(m_line.front()).begin)) {
            End(m_line.front(), "Timeout in Lease");
            m_line.pop_front();
        }
        std::vector<std::string> late;
        for (const auto& entry : m_calls) {
            if (entry.second.connection != 0 && IsOver(entry.second.begin)) {
                late.push_back(entry.first);
            }
        }
        for (const std::string& name : late) {
            const int connection = m_calls.at(name).connection;
            End(name, "Timeout");
            EXPECT_TRUE(m_server.WaitForEnd(connection));
        }
        FreeSlots(late.size());
    }

    /// Idle connections that were made with the old one are closed. Those in use go on, and are not used again.
    void ChangeCertificate() {
        const auto notices = [](const Idle& idle) { return !idle.dead; };
        if (std::none_of(m_idle.begin(), m_idle.end(), notices)) {
            return; // nothing would tell that it was noticed
        }
        WriteCertificate();
        kit::AdvanceSteadyClock(2s);
        EndIdleWhere([](const Idle&) { return true; });
        for (const auto& entry : m_calls) {
            m_stale[entry.second.connection] = true;
        }
    }

    // What follows from them.

    bool IsOver(int begin) const { return m_ticks - begin >= TICKS_OF_AN_HOUR; }

    void WriteCertificate() {
        const kit::Identity made = m_ca.IssueClient(std::to_string(++m_certificates));
        m_files.Write("next.pem", made.certificatePem + made.keyPem);
        std::filesystem::rename(m_files.path() / "next.pem", m_files.path() / "shown.pem"); // both at once
    }

    template <class Which> void EndIdleWhere(const Which& which) {
        for (auto idle = m_idle.begin(); idle != m_idle.end();) {
            if (!which(*idle)) {
                ++idle;
                continue;
            }
            EXPECT_TRUE(idle->dead || m_server.WaitForEnd(idle->connection));
            --m_taken;
            idle = m_idle.erase(idle);
        }
    }

    /// A call goes out on a connection of its own.
    void Dial(const std::string& name) { DialAll({name}); }

    /// Calls go out on a new connection each.
    void DialAll(const std::vector<std::string>& names) {
        std::set<int> connections;
        std::set<int> expected;
        for (const std::string& name : names) {
            const int connection = m_server.WaitForRequest("/" + name);
            connections.insert(connection);
            expected.insert(++m_connections);
            m_calls.at(name).connection = connection;
            if (GetParam() && connection != 0) {
                EXPECT_EQ(m_server.Subject(connection), "CN=" + std::to_string(m_certificates));
            }
        }
        EXPECT_EQ(connections, expected) << "new connections for " << names.front();
    }

    /// The last used connection is taken first; those that the server has closed, and those that were made with
    /// another certificate, are passed over.
    bool TakeIdle(const std::string& name) {
        if (m_idle.empty()) {
            return false;
        }
        Idle idle = PopIdle();
        while (idle.dead && !m_idle.empty()) {
            idle = PopIdle();
            --m_taken;
        }
        if (idle.dead) {
            Dial(name); // in its place
        } else {
            GoOut(name, idle.connection);
        }
        return true;
    }

    Idle PopIdle() {
        Idle idle = m_idle.back();
        m_idle.pop_back();
        if (m_stale[idle.connection] && !idle.dead) {
            EXPECT_TRUE(m_server.WaitForEnd(idle.connection));
            idle.dead = true;
        }
        return idle;
    }

    void GoOut(const std::string& name, int connection) {
        EXPECT_EQ(m_server.WaitForRequest("/" + name), connection) << name;
        m_calls.at(name).connection = connection;
    }

    /// A connection may be used again: by the first in line, if there is one.
    void PutBack(int connection) {
        m_used[connection] = true;
        if (m_line.empty()) {
            m_idle.push_back({connection, false, m_ticks});
            return;
        }
        const std::string next = m_line.front();
        m_line.pop_front();
        if (m_stale[connection]) {
            EXPECT_TRUE(m_server.WaitForEnd(connection));
            Dial(next);
        } else {
            GoOut(next, connection);
        }
    }

    void FreeSlot() { FreeSlots(1); }

    void FreeSlots(std::size_t count) {
        std::vector<std::string> next;
        for (; count > 0 && !m_line.empty(); --count) {
            next.push_back(m_line.front());
            m_line.pop_front();
        }
        m_taken -= count;
        if (!next.empty()) {
            DialAll(next);
        }
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

    HandServer MakeServer() const {
        kit::TlsOptions tls;
        tls.identity = m_ca.IssueServer();
        tls.clientCaPem = m_ca.certificatePem();
        return HandServer(GetParam() ? &tls : nullptr);
    }

    std::mt19937 m_random;
    const kit::CertificateAuthority m_ca;
    const kit::TemporaryDirectory m_files;
    int m_certificates = 0; ///< so many were written
    HandServer m_server = MakeServer();
    int m_ticks = 0;
    std::optional<Client> m_client;
    int m_lastName = 0;
    int m_connections = 0; ///< made so far
    std::map<std::string, ModelCall> m_calls;
    std::deque<std::string> m_line;
    std::vector<Idle> m_idle; ///< last used at the end
    std::map<int, bool> m_used;
    std::map<int, bool> m_stale; ///< connections made with a certificate that is no longer the one
    std::size_t m_taken = 0;     ///< connections, idle ones included
};

unsigned long FromEnvironment(const char* name, unsigned long otherwise) {
    const char* const text = std::getenv(name); // NOLINT(concurrency-mt-unsafe)
    return text != nullptr ? std::strtoul(text, nullptr, 10) : otherwise;
}

TEST_P(ModelTest, PoolAndOutcomesAreAsTheModelSays) {
    const auto seed =
        static_cast<unsigned int>(FromEnvironment("HTTPCLIENT_MODEL_SEED", std::random_device()()));
    const unsigned long steps = FromEnvironment("HTTPCLIENT_MODEL_STEPS", 0);
    m_random.seed(seed);
    RecordProperty("seed", std::to_string(seed));
    const auto begun = std::chrono::system_clock::now(); // the other one is put forward
    constexpr unsigned long USUAL = 3000;
    unsigned long step = 0;
    for (; steps != 0 ? step < steps : step < USUAL && std::chrono::system_clock::now() - begun < 5s;
         ++step) {
        Step();
        ASSERT_FALSE(HasFailure()) << "HTTPCLIENT_MODEL_SEED=" << seed
                                   << " HTTPCLIENT_MODEL_STEPS=" << step + 1;
    }
    std::cout << "seed " << seed << ", " << step << " steps, " << m_certificates << " certificates\n";
    Shutdown();
}

INSTANTIATE_TEST_SUITE_P(Over, ModelTest, ::testing::Bool(),
                         [](const auto& one) { return one.param ? "Tls" : "Plain"; });

} // namespace
