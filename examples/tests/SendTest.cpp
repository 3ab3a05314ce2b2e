// SPDX-License-Identifier: Apache-2.0
// The sender as a program, against the demonstration server.
#include <string>

#include <ace/INET_Addr.h>
#include <ace/SOCK_Acceptor.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "demo/DemoServer.h"
#include "tests/Run.h"

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

using examples::Ran;
using examples::Run;

/// Runs the sender with these arguments, as a shell reads them.
Ran Send(const std::string& arguments) {
    return Run(SEND_PROGRAM " " + arguments);
}

class SendProgram : public testing::Test {
protected:
    std::string Url(const std::string& path) const {
        return "'http://127.0.0.1:" + std::to_string(m_server.Port()) + path + "'";
    }

private:
    demo::DemoServer m_server;
};

} // namespace

TEST_F(SendProgram, PrintsTheBodyAndNothingElseToStandardOutput) {
    const Ran ran = Send(Url("/chunked") + " 2>/dev/null");
    EXPECT_EQ(ran.output, "one, two, three\n");
    EXPECT_EQ(ran.exitCode, 0);
}

TEST_F(SendProgram, SaysOnStandardErrorWhatCame) {
    const Ran ran = Send(Url("/bytes/26") + " 2>&1 >/dev/null");
    EXPECT_THAT(ran.output, StartsWith("200  26 bytes  application/octet-stream  "));
    EXPECT_EQ(Send(Url("/bytes/26") + " -q 2>&1 >/dev/null").output, "");
}

TEST_F(SendProgram, SendsVerbHeadersParametersAndCookie) {
    const Ran ran = Send(Url("/echo") +
                         " -X DELETE -H 'X-Name: value' -p b=1 -p a='x y' -p b=2 -b session=42 2>/dev/null");
    EXPECT_THAT(ran.output, StartsWith("DELETE /echo?a=x%20y&b=1&b=2\n"));
    EXPECT_THAT(ran.output, HasSubstr("\nX-Name: value\n"));
    EXPECT_THAT(ran.output, HasSubstr("\nCookie: session=42\n"));
}

TEST_F(SendProgram, SendsABodyFromStandardInput) {
    const Ran ran = Send(Url("/echo") + " -X PUT -f - 2>/dev/null <<'END'\nfrom standard input\nEND\n");
    EXPECT_THAT(ran.output, StartsWith("PUT /echo\n"));
    EXPECT_THAT(ran.output, EndsWith("\n\nfrom standard input\n"));
}

TEST_F(SendProgram, PrintsTheHeadWhenAsked) {
    EXPECT_THAT(Send(Url("/chunked") + " -i 2>/dev/null").output, StartsWith("HTTP/1.1 200 OK\r\n"));
}

TEST_F(SendProgram, DecodesWhatItAccepts) {
    EXPECT_THAT(Send(Url("/gzip") + " --accept-encoding gzip 2>/dev/null").output,
                StartsWith("All work and no play"));
}

TEST_F(SendProgram, ExitCodeTellsWhatCame) {
    EXPECT_EQ(Send(Url("/status/302") + " >/dev/null 2>&1").exitCode, 0);
    EXPECT_EQ(Send(Url("/forbidden") + " >/dev/null 2>&1").exitCode, 4);
    EXPECT_EQ(Send(Url("/status/503") + " >/dev/null 2>&1").exitCode, 5);
    EXPECT_EQ(Send(Url("/") + " -o /nowhere/at/all 2>/dev/null").exitCode, 3);
    EXPECT_EQ(Send("ftp://h/ 2>/dev/null").exitCode, 2);
    EXPECT_EQ(Send("--no-such-option 2>/dev/null").exitCode, 2);
    EXPECT_EQ(Send("--help >/dev/null").exitCode, 0);
}

TEST_F(SendProgram, SaysThatThereWasNoAnswer) {
    ACE_INET_Addr address;
    ACE_SOCK_Acceptor acceptor(ACE_INET_Addr(static_cast<u_short>(0), "127.0.0.1"));
    ASSERT_EQ(acceptor.get_local_addr(address), 0);
    acceptor.close(); // nobody listens there any more
    const std::string url = "http://127.0.0.1:" + std::to_string(address.get_port_number()) + "/";
    const Ran ran = Send(url + " -q 2>&1");
    EXPECT_THAT(ran.output, HasSubstr("no answer from http://127.0.0.1:"));
    EXPECT_EQ(ran.exitCode, 1);
}

TEST_F(SendProgram, RepeatsOnThreadsAndSumsUp) {
    const Ran ran = Send(Url("/bytes/10") + " --repeat 50 --threads 4 2>/dev/null");
    EXPECT_THAT(ran.output, HasSubstr("requests  50 in "));
    EXPECT_THAT(ran.output, HasSubstr(" on 4 threads: "));
    EXPECT_THAT(ran.output, HasSubstr("status    200: 50\n"));
    EXPECT_THAT(ran.output, HasSubstr("bodies    500 bytes\n"));
    EXPECT_EQ(ran.exitCode, 0);
}

TEST_F(SendProgram, RepeatingDrawsNoBarWithoutATerminal) {
    EXPECT_EQ(Send(Url("/bytes/10") + " --repeat 50 2>&1 >/dev/null").output, "");
}

TEST_F(SendProgram, SendsAsynchronouslyAndPrintsTheBody) {
    const Ran ran = Send(Url("/echo") + " --async -X POST -p name=value -H 'X-Name: value' 2>/dev/null");
    EXPECT_THAT(ran.output, StartsWith("POST /echo\n"));
    EXPECT_THAT(ran.output, HasSubstr("\nX-Name: value\n"));
    EXPECT_THAT(ran.output, EndsWith("\n\nname=value"));
    EXPECT_EQ(ran.exitCode, 0);
}

TEST_F(SendProgram, ExitCodeTellsWhatCameAsynchronously) {
    EXPECT_EQ(Send(Url("/forbidden") + " -a >/dev/null 2>&1").exitCode, 4);
    EXPECT_EQ(Send(Url("/status/503") + " -a >/dev/null 2>&1").exitCode, 5);
    const Ran none = Send("http://127.0.0.1:1/ -a -q 2>&1");
    EXPECT_THAT(none.output, HasSubstr("no answer from http://127.0.0.1:1"));
    EXPECT_EQ(none.exitCode, 1);
}

TEST_F(SendProgram, RepeatsAsynchronouslyAndSumsUp) {
    // A connection that is taken again may keep its request waiting for seconds.
    const Ran ran = Send(Url("/bytes/10") + " -a --repeat 9 --threads 3 -H 'Connection: close' 2>/dev/null");
    EXPECT_THAT(ran.output, HasSubstr("requests  9 in "));
    EXPECT_THAT(ran.output, HasSubstr(" asynchronously, 3 at a time: "));
    EXPECT_THAT(ran.output, HasSubstr("status    200: 9\n"));
    EXPECT_THAT(ran.output, HasSubstr("bodies    90 bytes\n"));
    EXPECT_EQ(ran.exitCode, 0);
}
