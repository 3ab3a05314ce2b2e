// SPDX-License-Identifier: Apache-2.0
// Answers that go wrong, in each way that a request can come to the server. After each the next request
// works, and the server has seen no more requests and connections than there should be.
#include <atomic>
#include <chrono>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include <httpclient/testing/TlsLoopbackServer.h>

#include "Gate.h"

using namespace httpclient::testing;

namespace {

/// An answer that goes wrong, and what comes of it.
struct AnswerFault {
    const char* name;
    Reply reply;
    const char* synchronous;  ///< result, libcurl's number and body
    const char* asynchronous; ///< the same
    const char* strict;       ///< of both sends under the STRICT profile; result, reason and body
    unsigned int connections; ///< how many the server has accepted after two more requests
    /// Both roads send a GET again when a connection that was kept ends without a byte of an answer.
    bool sentAgain = false;
};

void PrintTo(const AnswerFault& fault, std::ostream* out) {
    *out << fault.name;
}

constexpr const char* WHOLE = "200 'whole'";
constexpr const char* TIMED_OUT = "-1 (28) ''";
constexpr const char* LOST = "-1 (ConnectionLost in Body) ''";
const std::string HEAD = "HTTP/1.1 200 OK\r\nContent-Length: 8\r\n\r\n";

std::vector<AnswerFault> Faults() {
    using std::chrono::milliseconds;
    const Reply whole = Respond(200, {}, "whole");
    return {
        {"Silence", Silence(After::Stall), TIMED_OUT, "0 ''", "-1 (Timeout in Head) ''", 2},
        {"CloseBeforeTheHead", Silence(After::Close), "-1 (52) ''", "0 ''", "-1 (ConnectionLost in Head) ''",
         2, true},
        {"CloseWithinTheHead", Raw("HTTP/1.1 200 OK\r\nA: 1\r\nB", After::Close), "200 ''", "200 ''",
         "-1 (ConnectionLost in Head) ''", 2},
        {"CloseAfterTheHead", Raw(HEAD, After::Close), "-1 (18) ''", "200 ''", LOST, 2},
        {"CloseWithinTheBody", Raw(HEAD + "half", After::Close), "-1 (18) ''", "200 'half'", LOST, 2},
        {"CutWithinTheBody", Raw(HEAD + "half", After::Cut), "-1 (18) ''", "200 'half'", LOST, 2},
        {"ResetBeforeTheHead", Silence(After::Reset), "-1 (56) ''", "0 ''", "-1 (ConnectionLost in Head) ''",
         2, true},
        {"ResetWithinTheBody", Raw(HEAD + "half", After::Reset), "-1 (56) ''", "200 'half'", LOST, 2},
        {"CloseOfAnIdleConnection", Then(whole, After::Close), WHOLE, WHOLE, WHOLE, 2},
        {"SingleBytes", Trickle(whole, milliseconds(0)), WHOLE, WHOLE, WHOLE, 1},
        {"Delay", Delayed(whole, milliseconds(50)), WHOLE, WHOLE, WHOLE, 1},
        {"LengthTooLong", Raw(HEAD + "half", After::Stall), TIMED_OUT, "200 'half'",
         "-1 (Timeout in Body) ''", 2},
        {"LengthTooShort", Raw(HEAD + "8 bytes and more"), "200 '8 bytes '", "200 '8 bytes '",
         "200 '8 bytes '", 2},
        {"LengthThatIsNone", Raw("HTTP/1.1 200 OK\r\nContent-Length: many\r\n\r\nabc"), "-1 (8) ''", "200 ''",
         "-1 (Protocol in Head) ''", 2},
        {"HeaderLineOf64KiB", Respond(200, {{"Long", std::string(65536, 'x')}}, "whole"), WHOLE, WHOLE, WHOLE,
         1},
        {"TwoStatusLines", Raw("HTTP/1.1 200 OK\r\n" + HEAD + "8 bytes."), "-1 (8) ''", "200 ''",
         "-1 (Protocol in Head) ''", 2},
        {"ChunkCutShort", Raw("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n8\r\nhalf", After::Close),
         "-1 (18) ''", "200 'half'", LOST, 2},
        {"NoHttp", Raw("SSH-2.0-OpenSSH_9.2\r\n", After::Close), "-1 (1) ''", "0 ''",
         "-1 (Protocol in Head) ''", 2},
    };
}

class AnswerFaults : public GateTest, public ::testing::WithParamInterface<AnswerFault> {
protected:
    void ExpectInWay(Way way) {
        SCOPED_TRACE("way " + std::to_string(static_cast<int>(way)));
        ClosePool();
        const AnswerFault& fault = GetParam();
        const auto server = MakeServer(way);
        PointAt(*server, way);
        if (IsKept(way)) {
            EXPECT_EQ(Send(way).body, "sound");
        }
        const Outcome outcome = TimesOut() ? SendUntilTimeout(way) : Send(way);
        ExpectNextToWork(way);

        const bool sentAgain = fault.sentAgain && IsKept(way);
        EXPECT_EQ(Text(outcome), sentAgain ? "200 'sound'" : Expected(way));
        EXPECT_EQ(server->requests().size(), 3U + (IsKept(way) ? 1 : 0) + (sentAgain ? 1 : 0));
        EXPECT_EQ(server->connectionsAccepted(), fault.connections);
    }

    static bool TimesOut() { return std::string(GetParam().synchronous) == TIMED_OUT; }

private:
    std::string Expected(Way way) const {
        const AnswerFault& fault = GetParam();
        return IsStrict() ? fault.strict : way == Way::Asynchronous ? fault.asynchronous : fault.synchronous;
    }
    /// A server whose first answer, or whose second for a kept connection, is the faulty one.
    std::unique_ptr<LoopbackServer> MakeServer(Way way) const {
        const auto calls = std::make_shared<std::atomic<int>>(0);
        const int faulty = IsKept(way) ? 2 : 1;
        const LoopbackServer::Handler handler = [calls, faulty](const RecordedRequest&) {
            return ++*calls == faulty ? GetParam().reply : Sound();
        };
        if (IsTls(way)) {
            return std::make_unique<TlsLoopbackServer>(handler, m_tls.Server());
        }
        return std::make_unique<LoopbackServer>(handler);
    }
    static std::string Text(const Outcome& outcome) {
        const std::string why = outcome.error != 0 ? std::to_string(outcome.error) : outcome.failure;
        return std::to_string(outcome.result) + (why.empty() ? "" : " (" + why + ")") + " '" + outcome.body +
               "'";
    }
};

} // namespace

TEST_P(AnswerFaults, HaveTheirOutcomeAndHurtNoLaterRequest) {
    if (TimesOut()) { // some seconds each
        ExpectInWay(Way::Kept);
        ExpectInWay(Way::Asynchronous);
        return;
    }
    for (const Way way : {Way::Fresh, Way::Kept, Way::TlsFresh, Way::TlsKept, Way::Asynchronous}) {
        ExpectInWay(way);
    }
}

INSTANTIATE_TEST_SUITE_P(Each, AnswerFaults, ::testing::ValuesIn(Faults()),
                         [](const auto& fault) { return std::string(fault.param.name); });
