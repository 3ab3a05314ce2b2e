// SPDX-License-Identifier: Apache-2.0
// Descriptors: none left, and numbers beyond what select() can watch.
#include <memory>
#include <vector>

#include <fcntl.h>
#include <sys/select.h>
#include <unistd.h>

#include <httpclient/HttpConnectionMgr.h>
#include <httpclient/testing/TlsLoopbackServer.h>

#include "../faults/Gate.h"
#include "tests/support/ResourceLimit.h"

using namespace httpclient::testing;

namespace {

/// Holds descriptors.
class Held {
public:
    ~Held() {
        for (const int descriptor : m_descriptors) {
            close(descriptor);
        }
    }
    /// Opens another one. @return its number, or -1.
    int Another() {
        const int descriptor = open("/dev/null", O_RDONLY | O_CLOEXEC);
        if (descriptor >= 0) {
            m_descriptors.push_back(descriptor);
        }
        return descriptor;
    }

private:
    std::vector<int> m_descriptors;
};

class DescriptorsOfTheProcess : public GateTest {
protected:
    std::unique_ptr<LoopbackServer> Serve(Way way) const {
        const LoopbackServer::Handler sound = [](const RecordedRequest&) { return Sound(); };
        if (IsTls(way)) {
            return std::make_unique<TlsLoopbackServer>(sound, m_tls.Server());
        }
        return std::make_unique<LoopbackServer>(sound);
    }
};

} // namespace

TEST_F(DescriptorsOfTheProcess, WhenNoneIsLeftFailARequestAndNotTheNext) {
#ifdef __SANITIZE_ADDRESS__
    if (IsStrict()) {
        GTEST_SKIP()
            << "the undefined-behaviour sanitizer needs descriptors when it looks at an object's type";
    }
#endif
    for (const Way way : {Way::Fresh, Way::TlsFresh, Way::Asynchronous}) {
        ClosePool();
        const auto server = Serve(way);
        PointAt(*server, way);
        ExpectNextToWork(way); // with what the process opens only once
        ClosePool();
        ASSERT_TRUE(server->WaitForOpenConnections(0)); // a descriptor closed later would be one that is left
        CHttpConnectionMgr::Instance();
        {
            const ResourceLimit limit(RLIMIT_NOFILE, 64);
            Held held;
            while (held.Another() >= 0) {
            }
            EXPECT_EQ(Send(way).result, way == Way::Asynchronous && !IsStrict() ? 0 : -1);
        }
        if (IsTls(way)) {
            ClosePool(); // a TLS connection keeps for life that it found no files
        }
        ExpectNextToWork(way);
        EXPECT_EQ(server->requests().size(), 4U);
        EXPECT_EQ(server->connectionsAccepted(), 2U);
    }
}

TEST_F(DescriptorsOfTheProcess, WhenNoneIsLeftForThePoolLeaveItWithoutASweep) {
    const auto server = Serve(Way::Fresh);
    PointAt(*server, Way::Fresh);
    ExpectNextToWork(Way::Fresh);
    ClosePool();
    ASSERT_TRUE(server->WaitForOpenConnections(0));
    {
        const ResourceLimit limit(RLIMIT_NOFILE, 64);
        Held held;
        while (held.Another() >= 0) {
        }
        CHttpConnectionMgr::Instance();
    }
    ExpectNextToWork(Way::Fresh);
    EXPECT_EQ(server->requests().size(), 4U);
}

// A worker's select() watches no descriptor, and libcurl puts none into its sets that they cannot hold.
TEST_F(DescriptorsOfTheProcess, BeyondThoseOfSelectAreUsedLikeOthers) {
    ClosePool();
    Held held;
    while (held.Another() < FD_SETSIZE + 10) {
        ASSERT_NE(held.Another(), -1);
    }
    for (const Way way : {Way::Fresh, Way::TlsFresh, Way::Asynchronous}) {
        ClosePool();
        const auto server = Serve(way);
        PointAt(*server, way);
        ExpectNextToWork(way);
        EXPECT_EQ(server->requests().size(), 2U);
        EXPECT_EQ(server->connectionsAccepted(), 1U);
    }
}
