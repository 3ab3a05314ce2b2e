// SPDX-License-Identifier: Apache-2.0
// One line per call, and nothing in it that is nobody's business.
#include "engine/CallLog.h"

#include <string>
#include <vector>

#include <httpclient/testing/LoopbackServer.h>
#include <httpclient/testing/RecordingTrace.h>

#include "engine/Outcome.h"
#include "setting/EngineTest.h"
#include "tests/support/Pattern.h"

namespace {

class CallLog : public EngineTest {
protected:
    CallLog() { Recorder().Clear(); }
    ~CallLog() override { Recorder().SetLowestLevel(0); }
    static kit::TraceRecorder& Recorder() { return kit::TraceRecorder::Instance(); }
    /// The only line there is, with its level; its times as "T".
    static std::string OnlyLine() {
        const auto messages = Recorder().Messages();
        if (messages.size() != 1) {
            return std::to_string(messages.size()) + " lines";
        }
        return std::to_string(messages[0].level) + ": " +
               kit::Pattern("[0-9]+\\.[0-9]+ ms").Replaced(messages[0].body, "T");
    }
};

} // namespace

TEST_F(CallLog, HasOneLineOfLevel3ForAResponse) {
    kit::LoopbackServer server([](const kit::RecordedRequest&) {
        return kit::Respond(404, {{"A", "secret"}}, "secret");
    });
    const Request request = Post("secret", "/path?secret").header("Authorization", "secret");
    ASSERT_EQ(Told(ClientOf(server).Send(request)), "404 secret");
    EXPECT_EQ(OnlyLine(), "3: HTTP call POST " + server.url("") +
                              "/path: status 404, attempts 1, total T, "
                              "Prepare T, Resolve T, Connect T, "
                              "Send T, Head T, Body T");
    EXPECT_EQ(Recorder().CountContaining("secret"), 0U);
}

TEST_F(CallLog, HasOneLineOfLevel5ForAFailure) {
    const Client client =
        ClientOf(OptionsFor("http://127.0.0.1:1").retry(RetryPolicy().attempts(2).pauses(0ms, 0ms)));
    ASSERT_EQ(Told(client.Send(Get("/path?secret"))), "Connect in Connect");
    const std::string line = OnlyLine();
    EXPECT_EQ(
        line.find("5: HTTP call GET http://127.0.0.1:1/path failed: Connect in Connect: Connection refused; "
                  "attempts 2, total T, Prepare T, Resolve T, Connect T"),
        0U)
        << line;
    EXPECT_EQ(Recorder().CountContaining("secret"), 0U);
}

TEST_F(CallLog, HasWordsForAFailureThatHasNeitherCodeNorDetail) {
    const auto described = [](FailureKind kind) {
        Failure::Body failure;
        failure.kind = kind;
        failure.phase = Phase::Prepare;
        return engine::DescribeFailure(failure, std::string());
    };
    EXPECT_EQ(described(FailureKind::InvalidRequest), "InvalidRequest in Prepare: the request breaks a rule");
    EXPECT_EQ(described(FailureKind::Protocol), "Protocol in Prepare: no reason is known");
}

TEST_F(CallLog, IsNotForgedByATarget) {
    const Client client = ClientOf(OptionsFor("http://127.0.0.1:1"));
    ASSERT_EQ(Told(client.Send(Get("/a\r\nforged\x01#secret"))), "InvalidRequest in Prepare");
    const std::string line = OnlyLine();
    EXPECT_EQ(
        line.find(
            "5: HTTP call GET http://127.0.0.1:1/a__forged_ failed: InvalidRequest in Prepare: the target "
            "is not a path in URL form; attempts 0, total T"),
        0U)
        << line;
}

TEST_F(CallLog, HasALineForACallThatCannotBegin) {
    Client one = ClientOf(OptionsFor("http://127.0.0.1:1"));
    const Client two = std::move(one);
    static_cast<void>(one.Send(Get())); // NOLINT(bugprone-use-after-move,clang-analyzer-cplusplus.Move)
    EXPECT_EQ(OnlyLine(), "5: HTTP call failed: InvalidRequest in Prepare: the client was moved from");
}

TEST_F(CallLog, IsNotWrittenWhereNobodyReadsIt) {
    kit::LoopbackServer server(Always());
    Recorder().SetLowestLevel(6);
    const std::size_t before = Recorder().Formatted();
    ASSERT_EQ(Told(ClientOf(server).Send(Get())), "200 answer");
    ASSERT_EQ(Told(ClientOf(OptionsFor("http://127.0.0.1:1")).Send(Get())), "Connect in Connect");
    EXPECT_EQ(Recorder().Formatted(), before);
}
