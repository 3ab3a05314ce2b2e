// SPDX-License-Identifier: Apache-2.0
// What a core dump of a process has after a call: of a secret that is wiped no copy more than before it, of a token no copy
// but the one that is kept. The log has none at all.
#include "Memory.h"

#include <csignal>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include <sys/wait.h>

#include <gtest/gtest.h>

#include <httpclient/testing/Environment.h>
#include <httpclient/testing/FakeTokenService.h>
#include <httpclient/testing/Files.h>
#include <httpclient/testing/LoopbackServer.h>
#include <httpclient/testing/TlsLoopbackServer.h>

#include "Canary.h"
#include "setting/TlsSetting.h"
#include "tests/support/Process.h"

using namespace httpclient::testing;

namespace {

/// A program that stands still from time to time.
class Host {
public:
    explicit Host(const std::vector<std::string>& arguments) {
        // The loader, looking for a function when it is first called, would leave the registers on the stack, and with
        // them what was copied last.
        const ScopedEnvironment loaded("LD_BIND_NOW", "1");
        Command command;
        command.words = {MEMORY_HOST};
        command.words.insert(command.words.end(), arguments.begin(), arguments.end());
        m_process = StartCommand(command);
    }
    /// @return its memory, once it stands still; nothing when it has ended instead.
    std::unique_ptr<Memory> Look() const {
        int status = 0;
        if (waitpid(m_process.id(), &status, WUNTRACED) != m_process.id() || !WIFSTOPPED(status)) {
            return nullptr;
        }
        return std::make_unique<Memory>(m_process.id());
    }
    void GoOn() const { kill(m_process.id(), SIGCONT); }
    /// @return its exit code.
    int End() {
        GoOn();
        return m_process.Wait().exitCode;
    }

private:
    ChildProcess m_process;
};

Reply Admit(const RecordedRequest& request) {
    const std::string expected = request.target == "/orders/first" ? "first-token" : "second-token";
    return Respond(request.Header("x-access-token") == Canary(expected) ? 200 : 403);
}

/// A road, a scheme, and the lowest level of the log.
class MemoryOfAHost : public ::testing::TestWithParam<std::tuple<const char*, const char*, int>> {
protected:
    MemoryOfAHost() {
        m_tls.root().Replace("manifest.json", Manifest(TlsSetting::Encrypted(Canary("password"))));
        m_tls.root().Replace("server_key.pem", EncryptKey(m_tls.client().keyPem, Canary("password")));
        m_application.Write("etc/authconf/jwt/service_url_config.json",
                            R"({"/orders*": {"type": "sia", "service": "orders"}})");
        m_application.Write("etc/authconf/jwt/jwt_billing.json", R"({"jwt": ")" + Canary("jwt") + "\"}");
        m_service.SetTokens("orders", {Canary("first-token"), Canary("second-token")});
    }
    static std::string Road() { return std::get<0>(GetParam()); }
    static std::string Scheme() { return std::get<1>(GetParam()); }
    static bool Is(const char* road) { return Road().rfind(road, 0) == 0; }
    static std::size_t Level() { return static_cast<std::size_t>(std::get<2>(GetParam())); }

    void ExpectNoSecretInTheLog() const {
        const std::string log = std::filesystem::exists(m_logFile) ? ReadFile(m_logFile) : "";
        EXPECT_EQ(log.empty(), Level() == 5);
        for (const char* name :
             {"header", "cookie", "body", "password", "jwt", "first-token", "second-token"}) {
            EXPECT_EQ(log.find(Canary(name)), std::string::npos) << name;
        }
    }

    const TemporaryDirectory m_application;
    const std::string m_logFile = (m_application.path() / "log").string();
    const std::string m_address = ProcessLoopbackAddress();
    const ScopedEnvironment m_root{"APP_ROOT", m_application.path()};
    const ScopedEnvironment m_name{"APP_NAME", "billing"};
    const ScopedEnvironment m_switch{"enableServiceIdentity", "true"};
    const ScopedEnvironment m_maintenance{"OVEX_MAINTENANCE_IP", m_address};
    const ScopedEnvironment m_level{"OVEX_TRACE_LEVEL", std::to_string(std::get<2>(GetParam()))};
    const ScopedEnvironment m_log{"OVEX_TRACE_FILE", m_logFile};
    const TlsSetting m_tls;
    FakeTokenService m_service{m_tls.Server(), m_address};
};

INSTANTIATE_TEST_SUITE_P(Roads, MemoryOfAHost,
                         ::testing::Combine(::testing::Values("client", "client-async", "compatible",
                                                              "compatible-async", "strict", "strict-async"),
                                            ::testing::Values("http", "https"), ::testing::Values(2, 3, 5)));

} // namespace

TEST(Memory, HasWhatAHostLeavesBehind) {
    Host host({"left-behind", "http", "0"});
    const auto before = host.Look();
    ASSERT_NE(before, nullptr);
    EXPECT_EQ(before->Count(Canary("heap")) + before->Count(Canary("stack")), 0U);
    host.GoOn();
    const auto after = host.Look();
    ASSERT_NE(after, nullptr);
    EXPECT_GT(after->Count(Canary("heap")), 0U);
    EXPECT_GT(after->Count(Canary("stack")), 0U);
    EXPECT_EQ(host.End(), 2);
}

TEST_P(MemoryOfAHost, HasNoSecretMoreAfterACall) {
    LoopbackServer plain(&Admit);
    TlsOptions tls = m_tls.Server();
    tls.clientCertificate = ClientCertificate::Request; // not all sends have one
    TlsLoopbackServer encrypted(&Admit, tls);
    Host host({Road(), Scheme(), std::to_string(Scheme() == "https" ? encrypted.port() : plain.port())});
    const auto before = host.Look();
    ASSERT_NE(before, nullptr);
    host.GoOn();
    const auto after = host.Look();
    ASSERT_NE(after, nullptr);
    const bool refused = Road() == "compatible-async"; // it sends once, whatever the answer is
    EXPECT_EQ(host.End(), refused ? 4 : 2);

    for (const char* name : {"header", "cookie", "body"}) {
        EXPECT_EQ(before->Count(Canary(name)), 1U) << name << ", in the host's request";
        EXPECT_LE(after->Count(Canary(name)), 1U) << name;
    }
    EXPECT_EQ(after->Count(Canary("password")), 0U);
    EXPECT_GT(before->Count(Canary("first-token")), 0U);
    EXPECT_EQ(after->Count(Canary("first-token")), refused ? 1U : 0U) << "it was dropped";
    if (!Is("compatible")) { // there nobody wipes what an exchange was answered with
        EXPECT_EQ(after->Count(Canary("second-token")), Is("client") ? 1U : 0U) << "an engine keeps it";
    }
    ExpectNoSecretInTheLog();
}
