// SPDX-License-Identifier: Apache-2.0
// What --strict asks for, takes and refuses, and how the times of a call are drawn.
#include <chrono>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "demo/DemoServer.h"
#include "send/Timing.h"
#include "tests/Parsed.h"
#include "tests/Run.h"

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::Pair;
using testing::StartsWith;

namespace {

using examples::ParseStrict;
using examples::Ran;
using examples::URL;
using examples::WhyStrictRefused;
using httpclient::Method;
using namespace std::chrono_literals;

class StrictSend : public testing::Test {
protected:
    std::string Url(const std::string& path) const {
        return "'http://127.0.0.1:" + std::to_string(m_server.Port()) + path + "'";
    }
    Ran Send(const std::string& path, const std::string& arguments) const {
        return examples::Run(SEND_PROGRAM " --strict " + Url(path) + " " + arguments);
    }

    /// @return all that a terminal shows.
    Ran OnTerminal(const std::string& path, const std::string& arguments) const {
        return examples::Run("script -qec \"" SEND_PROGRAM " --strict " + Url(path) + " " + arguments +
                             "\" /dev/null </dev/null");
    }

private:
    demo::DemoServer m_server;
};

} // namespace

TEST(StrictOptions, NameEveryMethodOfTheEngine) {
    EXPECT_EQ(ParseStrict({URL}).method, Method::Get);
    EXPECT_EQ(ParseStrict({URL, "-d", "x"}).method, Method::Post);
    EXPECT_EQ(ParseStrict({URL, "-X", "patch"}).method, Method::Patch);
    EXPECT_EQ(ParseStrict({URL, "-X", "OPTIONS"}).method, Method::Options);
    EXPECT_THAT(WhyStrictRefused({URL, "-X", "TRACE"}), HasSubstr("\"TRACE\" cannot be sent"));
}

TEST(StrictOptions, KeepHeadersInTheirOrderAndANameMoreThanOnce) {
    EXPECT_THAT(ParseStrict({URL, "-H", "B: 2", "-H", "A: 1", "-H", "B: 3"}).headerLines,
                ElementsAre(Pair("B", "2"), Pair("A", "1"), Pair("B", "3")));
}

TEST(StrictOptions, TakeWhatTheOtherRoadWouldLeaveOut) {
    EXPECT_EQ(WhyStrictRefused({URL, "-X", "DELETE", "-d", "x"}), "accepted");
    EXPECT_EQ(WhyStrictRefused({URL, "-d", "x", "-p", "a=1"}), "accepted");
    EXPECT_EQ(WhyStrictRefused({"http://h/?a=1", "-p", "b=1"}), "accepted");
}

TEST(StrictOptions, RefuseWhatMeansNothingHere) {
    EXPECT_THAT(WhyStrictRefused({URL, "--charset", "GBK"}), HasSubstr("in UTF-8"));
    EXPECT_THAT(WhyStrictRefused({URL, "--timeout", "0"}), HasSubstr("at least 1 second"));
    EXPECT_THAT(WhyStrictRefused({URL, "--connect-timeout", "0"}), HasSubstr("at least 1 second"));
    EXPECT_THAT(WhyStrictRefused({URL, "--timing", "-n", "2"}), HasSubstr("leave --repeat out"));
    EXPECT_THAT(WhyStrictRefused({URL, "--async", "--insecure"}), HasSubstr("verifies every server"));
}

TEST(StrictOptions, LetTenThousandCallsBeUnderWayAndAThousandThreads) {
    EXPECT_EQ(ParseStrict({URL, "-a", "-n", "20000", "-t", "10000"}).threads, 10'000U);
    EXPECT_THAT(WhyStrictRefused({URL, "-a", "-n", "20000", "-t", "10001"}), HasSubstr("10001"));
    EXPECT_EQ(ParseStrict({URL, "-n", "20000", "-t", "1000"}).threads, 1000U);
    EXPECT_THAT(WhyStrictRefused({URL, "-n", "20000", "-t", "1001"}), HasSubstr("at most 1000 threads"));
}

TEST(StrictOptions, AreForTheStrictRoadOnly) {
    for (const char* option : {"--timing", "--server-name=x"}) {
        const std::vector<const char*> arguments{"httpclient-send", URL, option};
        EXPECT_THROW(sender::ParseOptions(static_cast<int>(arguments.size()), arguments.data()),
                     sender::UsageError);
    }
}

TEST_F(StrictSend, PrintsTheBodyAndSaysWhatCame) {
    const Ran ran = Send("/chunked", "2>/dev/null");
    EXPECT_EQ(ran.output, "one, two, three\n");
    EXPECT_EQ(ran.exitCode, 0);
    EXPECT_THAT(Send("/bytes/26", "2>&1 >/dev/null").output,
                StartsWith("200  26 bytes  application/octet-stream  "));
}

TEST_F(StrictSend, SendsHeadersParametersCookieAndBody) {
    const Ran ran =
        Send("/echo?q=0", "-X PUT -H 'X-Name: value' -p 'b=x y' -p b=2 -b session=42 -d body 2>/dev/null");
    EXPECT_THAT(ran.output, StartsWith("PUT /echo?q=0&b=x%20y&b=2\n"));
    EXPECT_THAT(ran.output, HasSubstr("\nX-Name: value\n"));
    EXPECT_THAT(ran.output, HasSubstr("\nCookie: session=42\n"));
    EXPECT_THAT(ran.output, HasSubstr("\nUser-Agent: libhttpclient\n"));
    EXPECT_THAT(ran.output, EndsWith("\n\nbody"));
}

TEST_F(StrictSend, TakesTheUserAgentAway) {
    EXPECT_THAT(Send("/echo", "-H 'user-agent:' 2>/dev/null").output, Not(HasSubstr("User-Agent")));
}

TEST_F(StrictSend, SendsANulByte) {
    const Ran ran = examples::Run("printf 'a\\0b' | " SEND_PROGRAM " -s -f - " + Url("/echo") +
                                  " 2>/dev/null | tr '\\0' '0'");
    EXPECT_THAT(ran.output, StartsWith("POST /echo\n"));
    EXPECT_THAT(ran.output, EndsWith("\n\na0b"));
}

TEST_F(StrictSend, PrintsTheHeadWhenAsked) {
    const Ran ran = Send("/bytes/3", "-i 2>/dev/null");
    EXPECT_THAT(ran.output, StartsWith("HTTP/1.1 200\r\n"));
    EXPECT_THAT(ran.output, HasSubstr("\r\nContent-Length: 3\r\n"));
}

TEST_F(StrictSend, DecodesWhatItAccepts) {
    EXPECT_THAT(Send("/gzip", "--accept-encoding gzip 2>/dev/null").output,
                StartsWith("All work and no play"));
}

TEST_F(StrictSend, SaysWhatItRefusesWithExitCodeTwo) {
    const Ran body = Send("/echo", "-X GET -d x 2>&1");
    EXPECT_THAT(body.output, HasSubstr("refused, and nothing was sent: InvalidRequest in Prepare: "
                                       "GET and HEAD have no body\n"));
    EXPECT_EQ(body.exitCode, 2);
    EXPECT_EQ(Send("/echo", "-H 'Content-Length: 5' 2>&1").exitCode, 2);
    EXPECT_EQ(Send("/echo", "-H 'Content-Length: 5' -n 5 -t 2 2>&1").exitCode, 2);
}

TEST_F(StrictSend, ExitCodeTellsWhatCame) {
    EXPECT_EQ(Send("/status/302", ">/dev/null 2>&1").exitCode, 0);
    EXPECT_EQ(Send("/forbidden", ">/dev/null 2>&1").exitCode, 4);
    EXPECT_EQ(Send("/status/503", ">/dev/null 2>&1").exitCode, 5);
    EXPECT_EQ(Send("/", "-o /nowhere/at/all 2>/dev/null").exitCode, 3);
}

TEST_F(StrictSend, SaysWhyThereIsNoAnswer) {
    const Ran ran = Send("/slow/3000", "--timeout 1 -q 2>&1");
    EXPECT_THAT(ran.output, HasSubstr("no answer from http://127.0.0.1:"));
    EXPECT_THAT(ran.output, HasSubstr(": Timeout in Head: "));
    EXPECT_EQ(ran.exitCode, 1);
}

TEST_F(StrictSend, RepeatsOnThreadsAndSumsUp) {
    const Ran ran = Send("/bytes/10", "--repeat 50 --threads 4 2>/dev/null");
    EXPECT_THAT(ran.output, HasSubstr(" on 4 threads: "));
    EXPECT_THAT(ran.output, HasSubstr("status    200: 50\n"));
    EXPECT_THAT(ran.output, HasSubstr("bodies    500 bytes\n"));
    EXPECT_EQ(ran.exitCode, 0);
}

TEST_F(StrictSend, SendsAsynchronouslyWhateverItCanSend) {
    const Ran ran = Send("/echo", "--async -X PUT -b session=42 -d body 2>/dev/null");
    EXPECT_THAT(ran.output, StartsWith("PUT /echo\n"));
    EXPECT_THAT(ran.output, HasSubstr("\nCookie: session=42\n"));
    EXPECT_THAT(ran.output, EndsWith("\n\nbody"));
    EXPECT_EQ(ran.exitCode, 0);
}

TEST_F(StrictSend, RepeatsAsynchronouslyAndSumsUp) {
    const Ran ran = Send("/bytes/10", "--async --repeat 500 --threads 30 2>/dev/null");
    EXPECT_THAT(ran.output, HasSubstr("requests  500 in "));
    EXPECT_THAT(ran.output, HasSubstr(" asynchronously, 30 at a time: "));
    EXPECT_THAT(ran.output, HasSubstr("status    200: 500\n"));
    EXPECT_THAT(ran.output, HasSubstr("  p99 "));
    EXPECT_THAT(ran.output, HasSubstr("bodies    5000 bytes\n"));
    EXPECT_EQ(ran.exitCode, 0);
}

TEST_F(StrictSend, RepeatingAsynchronouslyDrawsABarOnATerminalAndWipesIt) {
    const Ran ran = OnTerminal("/bytes/10", "--async --repeat 50 --threads 10");
    EXPECT_THAT(ran.output, HasSubstr("] 100% 50/50"));
    EXPECT_THAT(ran.output, HasSubstr("\r\033[Krequests  50 in "));
    EXPECT_THAT(Send("/bytes/10", "-a -n 50 -t 10 2>&1 >/dev/null").output, "");
}

TEST_F(StrictSend, SaysWhyAnAsynchronousRepeatFailed) {
    const Ran ran = examples::Run(SEND_PROGRAM " -s -a -n 20 -t 5 http://127.0.0.1:1/ 2>&1");
    EXPECT_THAT(ran.output, HasSubstr("status    no answer: 20\n"));
    EXPECT_THAT(ran.output, HasSubstr("no answer from http://127.0.0.1:1 after "));
    EXPECT_THAT(ran.output, HasSubstr("Connect"));
    EXPECT_EQ(ran.exitCode, 1);
}

TEST_F(StrictSend, DrawsALineForEachPhaseThatHappened) {
    const Ran ran = Send("/bytes/3", "-q --timing 2>&1 >/dev/null");
    for (const char* phase : {"Connect ", "Send ", "Head ", "total "}) {
        EXPECT_THAT(ran.output, HasSubstr(phase));
    }
    EXPECT_THAT(ran.output, Not(HasSubstr("Handshake"))); // over plain HTTP
}

TEST(Timing, BeginsEachBarWhereTheOneBeforeEnds) {
    sender::PhaseTimes times{};
    times[4] = 1ms;   // Connect
    times[6] = 1us;   // Send: too short for a place of its own
    times[7] = 3ms;   // Head
    times[8] = 999us; // Body
    EXPECT_EQ(sender::DrawTiming(times, 5ms),
              "Connect         1.000 ms  " + std::string(10, '#') + "\n" + "Send            0.001 ms  " +
                  std::string(10, ' ') + "#\n" + "Head            3.000 ms  " + std::string(10, ' ') +
                  std::string(30, '#') + "\n" + "Body            0.999 ms  " + std::string(40, ' ') +
                  std::string(10, '#') + "\n" + "total           5.000 ms\n");
}

TEST(Timing, OfNothingIsTheWholeAlone) {
    EXPECT_EQ(sender::DrawTiming({}, 0ns), "total           0.000 ms\n");
}

TEST_F(StrictSend, TracesEachEvent) {
    const Ran ran = Send("/status/404", "--trace -q 2>&1");
    EXPECT_THAT(ran.output, testing::MatchesRegex("start    GET http://127.0.0.1:[0-9]+/status/404\n"
                                                  "attempt  1 after [0-9.]+ ms: status 404\n"
                                                  "end      after [0-9.]+ ms: status 404\n"
                                                  "This is a 404.\n"));
}

TEST_F(StrictSend, TracesWhyThereIsNoAnswer) {
    const Ran ran = examples::Run(SEND_PROGRAM " --strict --trace -q http://127.0.0.1:1/ 2>&1");
    EXPECT_THAT(ran.output, HasSubstr("\nattempt  1 after "));
    EXPECT_THAT(ran.output, testing::ContainsRegex(
                                "\nend      after [0-9.]+ ms: Connect in Connect: Connection refused\n"));
}

TEST_F(StrictSend, WritesWhatTheEngineHasCounted) {
    EXPECT_THAT(Send("/status/200", "--metrics - -q").output,
                HasSubstr("method=\"GET\",label=\"\",outcome=\"2xx\"} 1\n"));
    EXPECT_THAT(Send("/status/200", "--metrics - --repeat 5 --threads 2").output,
                HasSubstr("method=\"GET\",label=\"\",outcome=\"2xx\"} 5\n"));
    EXPECT_EQ(Send("/status/200", "--metrics /nowhere/at/all -q 2>/dev/null").exitCode, 3);
}

TEST(StrictOptions, OfTraceAndMetricsNeedTheStrictRoad) {
    EXPECT_TRUE(ParseStrict({URL, "--trace"}).trace);
    EXPECT_EQ(ParseStrict({URL, "--metrics", "file"}).metricsFile, "file");
    const std::vector<const char*> arguments = {"httpclient-send", URL, "--trace"};
    EXPECT_THROW(sender::ParseOptions(3, arguments.data()), sender::UsageError);
}
