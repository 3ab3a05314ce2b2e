// SPDX-License-Identifier: Apache-2.0
// The demonstration server as a service that calls another one, and shows how it goes.
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <sys/types.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "demo/DemoServer.h"
#include "tests/Run.h"

using testing::HasSubstr;

namespace {

/// The program, running on a free port.
class Demo {
public:
    explicit Demo(const std::string& arguments)
        : m_output(popen(("echo $$; exec " DEMO_PROGRAM " --port 0 " + arguments).c_str(), "r")) {
        m_pid = std::stoi(Line());
        m_origin = Line();
        m_origin.pop_back();
    }
    ~Demo() {
        kill(m_pid, SIGTERM);
        pclose(m_output);
    }
    Demo(const Demo&) = delete;
    Demo& operator=(const Demo&) = delete;

    std::string Get(const std::string& path) const {
        return examples::Run(SEND_PROGRAM " --strict -q " + m_origin + path).output;
    }

private:
    std::string Line() {
        char line[512] = "";
        return std::fgets(line, sizeof line, m_output) != nullptr ? line : "?";
    }

    std::FILE* m_output;
    pid_t m_pid = 0;
    std::string m_origin;
};

} // namespace

TEST(Demo, ShowsHowItsCallsOfAnotherServerGo) {
    const demo::DemoServer other;
    const std::string origin = "http://127.0.0.1:" + std::to_string(other.Port());
    const Demo demo("--upstream " + origin);
    EXPECT_EQ(demo.Get("/upstream/chunked"), "one, two, three\n");
    EXPECT_EQ(demo.Get("/upstream/status/404"), "This is a 404.\n");
    const std::string page = demo.Get("/metrics");
    const std::string calls =
        "httpclient_calls_total{origin=\"" + origin + "\",method=\"GET\",label=\"/upstream\",";
    EXPECT_THAT(page, HasSubstr(calls + "outcome=\"2xx\"} 1\n"));
    EXPECT_THAT(page, HasSubstr(calls + "outcome=\"4xx\"} 1\n"));
}

TEST(Demo, SaysWhyItsUpstreamDoesNotAnswer) {
    const Demo demo("--upstream http://127.0.0.1:1");
    EXPECT_THAT(demo.Get("/upstream/"), HasSubstr("Connect in Connect: Connection refused\n"));
    EXPECT_THAT(demo.Get("/metrics"), HasSubstr("outcome=\"Connect\"} 1\n"));
}
