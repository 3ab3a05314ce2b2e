// SPDX-License-Identifier: Apache-2.0
// The sender over mutual TLS, set up with the operator's tool.
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "demo/DemoServer.h"
#include "tests/Run.h"

using testing::HasSubstr;

namespace {

using examples::Ran;

/// A TLS root and its test server.
class SendOverTls : public testing::Test {
protected:
    SendOverTls() {
        const Ran ran = examples::Run(Environment() + OVEX_TLS_PROGRAM " init-key >/dev/null && " +
                                      Environment() + OVEX_TLS_PROGRAM " layout --self-signed 2>&1");
        if (ran.exitCode != 0) {
            throw std::runtime_error("no TLS root: " + ran.output);
        }
        demo::Place place;
        place.tlsDirectory = m_directory + "/tls/test-server";
        m_server = std::make_unique<demo::DemoServer>(place);
    }
    ~SendOverTls() override { std::filesystem::remove_all(m_directory); }

    std::string Environment() const {
        return "env VORN_KEY_FILE=" + m_directory + "/master.key SSL_ROOT=" + m_directory + "/tls ";
    }
    Ran Send(const std::string& path, const std::string& before, const std::string& after) const {
        return examples::Run(Environment() + before + SEND_PROGRAM " https://127.0.0.1:" +
                             std::to_string(m_server->Port()) + path + after);
    }

private:
    static std::string NewDirectory() {
        std::string pattern = std::filesystem::temp_directory_path() / "httpclient-send-XXXXXX";
        return mkdtemp(pattern.data()) == nullptr ? "" : pattern;
    }

    const std::string m_directory = NewDirectory();
    std::unique_ptr<demo::DemoServer> m_server;
};

} // namespace

TEST_F(SendOverTls, ShowsThePlatformsCertificateOnEitherRoad) {
    for (const char* road : {"", " --strict"}) {
        const Ran ran = Send("/peer", "", std::string(road) + " 2>/dev/null");
        EXPECT_EQ(ran.output, "CN=test process\n") << road;
        EXPECT_EQ(ran.exitCode, 0) << road;
    }
}

TEST_F(SendOverTls, GetsNoAnswerWithoutTheMasterKey) {
    const Ran ran = Send("/peer", "env -u VORN_KEY_FILE ", " 2>&1");
    EXPECT_THAT(ran.output, HasSubstr("no answer from https://127.0.0.1:"));
    EXPECT_EQ(ran.exitCode, 1);
}

TEST_F(SendOverTls, RefusesAServerOfAnotherNameOnTheStrictRoad) {
    const Ran ran = Send("/peer", "", " --strict --server-name another.example -q 2>&1");
    EXPECT_THAT(ran.output, HasSubstr(": Tls in Handshake: "));
    EXPECT_EQ(ran.exitCode, 1);
}
