// SPDX-License-Identifier: Apache-2.0
// What tools/interop tries with every server, with the one that every machine of ours has.
#include <gtest/gtest.h>

#include "Servers.h"
#include "Site.h"
#include "Trials.h"

using namespace interop;

namespace {

class NginxInterop : public ::testing::Test {
protected:
    void SetUp() override {
        if (InstalledVersion("nginx").empty()) {
            GTEST_SKIP() << "nginx is not installed (package nginx)";
        }
    }

    void ExpectEveryTrialRight(Over over, std::uint16_t (Server::*port)() const) {
        const Site site;
        const Server server(KindOf("nginx"), site, std::chrono::minutes(10));
        Target target;
        target.over = over;
        target.port = (server.*port)();
        target.site = &site;
        for (const Finding& finding : TryAll(target)) {
            EXPECT_EQ(finding.problem, "") << finding.trial;
        }
    }
};

} // namespace

TEST_F(NginxInterop, EveryTrialIsRightOverPlainConnections) {
    ExpectEveryTrialRight(Over::Plain, &Server::plain);
}

TEST_F(NginxInterop, EveryTrialIsRightOverTls) {
    ExpectEveryTrialRight(Over::Tls, &Server::tls);
}

TEST_F(NginxInterop, EveryTrialIsRightOverMutualTls) {
    ExpectEveryTrialRight(Over::MutualTls, &Server::mutual);
}
