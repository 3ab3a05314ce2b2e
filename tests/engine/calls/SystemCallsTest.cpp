// SPDX-License-Identifier: Apache-2.0
// The system calls of each scenario, one by one, as a list in a file: one more is a finding.
#include "tests/support/SystemCalls.h"

#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <httpclient/testing/Certificates.h>
#include <httpclient/testing/Environment.h>
#include <httpclient/testing/TlsLoopbackServer.h>

#include "client/GoldenFile.h"

using namespace httpclient::testing;

namespace {

const char* const MARK = "getppid";

/// What the allocator asks for depends on what it had before.
bool IsOfMemory(const std::string& name) {
    static const std::set<std::string> names = {"brk", "mmap", "munmap", "mprotect", "mremap", "madvise"};
    return names.count(name) > 0;
}

/// A lock that another thread holds just then is nobody's doing.
bool IsOfTheMoment(const std::string& name) {
    return IsOfMemory(name) || name == "futex";
}

/// @return the list without what depends on who is quicker: a read that comes too early is repeated when something is
///         there; a loop that has nothing to do waits again.
std::string Settled(std::string list) {
    for (const std::string tooEarly : {"recv poll recv", "recv epoll_ctl epoll_wait epoll_ctl recv"}) {
        for (std::size_t at = 0; (at = list.find(tooEarly, at)) != std::string::npos;) {
            list.replace(at, tooEarly.size(), "recv");
        }
    }
    const std::string waiting = " epoll_wait";
    if (list.size() > waiting.size() &&
        list.compare(list.size() - waiting.size(), waiting.size(), waiting) == 0) {
        list.resize(list.size() - waiting.size());
    }
    return list;
}

/// What lies between the marks: of the first thread, or of the others.
std::string BetweenMarks(const std::vector<SystemCall>& calls, bool ofTheFirst) {
    std::string list;
    int marks = 0;
    for (const SystemCall& call : calls) {
        if (call.name == MARK) {
            ++marks;
        } else if (marks == 1 && (call.thread == 0) == ofTheFirst && !IsOfTheMoment(call.name)) {
            list += (list.empty() ? "" : " ") + call.name;
        }
    }
    EXPECT_EQ(marks, 2);
    return Settled(list);
}

class SystemCalls : public ::testing::Test {
protected:
    SystemCalls() { m_files.Write("ca.pem", m_ca.certificatePem()); }
    static Reply Answer(const RecordedRequest& /*request*/) { return Respond(200, {}, "answer"); }

    /// Runs a scenario. @return the calls that it makes.
    std::string Of(const std::string& scenario) {
        const bool tls = scenario.find("TLS") != std::string::npos;
        const bool onLoop = scenario.find("loop") != std::string::npos;
        const std::string port = std::to_string(tls ? m_tlsServer.port() : m_server.port());
        return BetweenMarks(WatchSystemCalls({CALLS_HOST, scenario, port, m_files.path() / "ca.pem"}, onLoop),
                            !onLoop);
    }

    const CertificateAuthority m_ca;
    const TemporaryDirectory m_files;
    const LoopbackServer m_server{Answer};
    const TlsLoopbackServer m_tlsServer{Answer, Tls12()};

private:
    /// TLS 1.2, whose flights are few, and each in one piece.
    TlsOptions Tls12() const {
        TlsOptions tls;
        tls.identity = m_ca.IssueServer();
        tls.clientCertificate = ClientCertificate::Ignore;
        tls.newest = NewestTls::Tls12;
        return tls;
    }
};

} // namespace

TEST_F(SystemCalls, OfEachScenarioAreThoseOfTheList) {
    if (!MayWatchSystemCalls()) {
        GTEST_SKIP() << "processes may not be watched here";
    }
    std::string list;
    for (const char* scenario :
         {"a kept connection", "a kept connection, 16 KiB up", "a kept connection, a source of three pieces",
          "a kept connection, a sink", "a new connection", "a connection that is not kept",
          "a kept TLS connection", "a new TLS connection, resumed", "a kept connection, on the loop",
          "a kept connection, 16 KiB up, on the loop", "a new connection, on the loop",
          "a kept TLS connection, on the loop", "a new TLS connection, resumed, on the loop"}) {
        list += std::string(scenario) + "\n    " + Of(scenario) + "\n";
    }
    ExpectGolden(DATA "/system-calls.txt", list);
}
