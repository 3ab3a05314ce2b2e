// SPDX-License-Identifier: Apache-2.0
#include "torture/Torture.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>

#include <unistd.h>

#include <httpclient/testing/RecordingTrace.h>
#include <httpclient/testing/ResourceListener.h>

/// A way for calls to fail, and what may come of it besides what is wanted.
struct Torture::Way {
    const char* name;
    Faults about;
    unsigned variant;
    std::vector<std::string> kinds;
};

// "Tls", "Resolve": neither OpenSSL nor the look-up always says that it was memory.
const Torture::Way Torture::WAYS[] = {
    {"refused",
     RESOURCES,
     0,
     {"Internal", "Tls in Handshake", "Tls in Head", "Tls in Send", "Connect", "Resolve"}},
    {"interrupted", Only(Fault::Interruption), 0, {}},
    {"no buffers",
     Only(Fault::Network),
     0,
     {"Internal", "Connect", "Resolve", "Tls in Handshake", "ConnectionLost"}},
    {"reset",
     Only(Fault::Network),
     1,
     {"Internal", "Connect", "Resolve", "Tls in Handshake", "ConnectionLost"}},
    {"gone",
     Only(Fault::Network),
     2,
     {"Internal", "Connect", "Resolve", "Tls in Handshake", "ConnectionLost"}},
    {"OpenSSL's memory", Only(Fault::OpenSsl), 0, {"Internal", "Tls", "ConnectionLost"}},
    {"OpenSSL's own fault", Only(Fault::OpenSsl), 1, {"Internal", "Tls", "ConnectionLost"}},
};

namespace {

constexpr std::size_t MOST = 50;             ///< runs for a way, unless all are wanted
constexpr std::chrono::seconds PROMPTLY{10}; ///< half of the time that a call has

/// All where they are few; else some from everywhere, others in each run.
std::vector<std::size_t> Choose(std::size_t count) {
    const std::size_t step = std::getenv("TORTURE_ALL") != nullptr ? 1 : count / MOST + 1;
    std::vector<std::size_t> chosen;
    for (std::size_t i = 1 + static_cast<std::size_t>(getpid()) % step; i <= count; i += step) {
        chosen.push_back(i);
    }
    return chosen;
}

/// A thread that ends may hold something for a moment yet.
bool IsFreeBut(std::size_t kept) {
    for (int i = 0; FaultPlan::LiveBlocks() > kept && i < 100; ++i) {
        std::this_thread::sleep_for(1ms);
    }
    return FaultPlan::LiveBlocks() <= kept;
}

bool BeginsWith(const std::string& text, const std::string& beginning) {
    return !beginning.empty() && text.compare(0, beginning.size(), beginning) == 0;
}

} // namespace

kit::LoopbackServer::Handler Torture::Counting(kit::Reply reply) {
    return [this, reply = std::move(reply)](const kit::RecordedRequest&) {
        ++m_handled;
        return reply;
    };
}

void Torture::Run(const Scenario& scenario) {
    for (const Way& way : WAYS) {
        SCOPED_TRACE(way.name);
        RunEach(scenario, way);
        if (HasFailure()) {
            return;
        }
    }
}

void Torture::RunEach(const Scenario& scenario, const Way& way) {
    for (int round = 0; round < 3; ++round) { // the first ones set up what lasts as long as the process
        scenario.prepare();
        {
            const FaultPlan plan(0, way.about, way.variant);
            EXPECT_EQ(RunUnder(scenario, plan).told, scenario.wanted);
        }
        scenario.next();
    }
    const std::size_t count = m_count;
    const std::vector<std::size_t> chosen = Choose(count);
    scenario.prepare();
    const std::size_t descriptors = kit::Resources::Now().descriptors;
    for (const std::size_t failing : chosen) {
        SCOPED_TRACE("call " + std::to_string(failing) + " of " + std::to_string(count));
        RunWithFailing(scenario, way, failing);
        // What is kept on purpose, once, is not kept a second time; a leak is.
        for (int i = 0; !IsFreeBut(scenario.kept) && i < 3; ++i) {
            RunWithFailing(scenario, way, failing);
        }
        EXPECT_LE(FaultPlan::LiveBlocks(), scenario.kept) << FaultPlan::DescribeLiveBlocks();
        if (HasFailure()) {
            return;
        }
    }
    scenario.prepare();
    EXPECT_TRUE(Becomes([&] { return kit::Resources::Now().descriptors <= descriptors; }))
        << kit::DescribeDescriptors();
    std::printf("%s: %zu calls, %zu failed\n", way.name, count, chosen.size());
}

Ended Torture::RunUnder(const Scenario& scenario, const FaultPlan& plan) {
    Ended ended = scenario.run();
    plan.Relent();
    m_count = plan.Count();
    const WithoutFaults exempt;
    m_seen = m_handled;
    m_lines = kit::TraceRecorder::Instance().Messages().size();
    if (scenario.clear) {
        scenario.clear();
    }
    kit::TraceRecorder::Instance().Clear();
    return ended;
}

void Torture::RunWithFailing(const Scenario& scenario, const Way& way, std::size_t failing) {
    scenario.prepare();
    kit::TraceRecorder::Instance().Clear();
    const std::size_t handledBefore = m_handled;
    Ended ended;
    const auto taken = TimeOf([&] {
        const FaultPlan plan(failing, way.about, way.variant);
        ended = RunUnder(scenario, plan);
    });
    ExpectFair(scenario, way, ended, handledBefore);
    EXPECT_LT(taken, PROMPTLY) << ended.told;
    SCOPED_TRACE("after " + ended.told);
    scenario.next();
}

void Torture::ExpectFair(const Scenario& scenario, const Way& way, const Ended& ended,
                         std::size_t handledBefore) const {
    EXPECT_EQ(ended.outcomes, 1U);
    if (ended.told == scenario.wanted || BeginsWith(ended.told, scenario.kind)) {
        return;
    }
    if (!way.kinds.empty() && BeginsWith(ended.told, scenario.refused)) {
        return;
    }
    EXPECT_TRUE(std::any_of(way.kinds.begin(), way.kinds.end(),
                            [&](const std::string& kind) { return BeginsWith(ended.told, kind); }))
        << ended.told << ": " << ended.code.message();
    EXPECT_TRUE(ended.code) << ended.told;
    EXPECT_LE(m_lines, scenario.lines);
    if (m_seen > handledBefore) {
        EXPECT_TRUE(ended.sent) << ended.told << ": the server has seen it";
    }
}

Ended EndOf(const Result& result) {
    const WithoutFaults exempt;
    Ended ended;
    ended.told = Told(result);
    if (!result) {
        ended.sent = result.failure().requestSent();
        ended.code = result.failure().code();
    }
    return ended;
}

ClientOptions ByName(const kit::LoopbackServer& server) {
    return OptionsFor("http://localhost:" + std::to_string(server.port()))
        .retry(RetryPolicy().attempts(10).pauses(1s, 1s).budget(1));
}

TlsTorture::TlsTorture() : m_identity(m_ca.IssueClient()) {
    kit::TlsOptions tls;
    tls.identity = m_ca.IssueServer();
    tls.clientCaPem = m_ca.certificatePem();
    m_server.emplace(Counting(), tls);
}

ClientOptions TlsTorture::Options() const {
    return OptionsFor(*m_server).tls(
        TlsOptions().memory(m_ca.certificatePem(), m_identity.certificatePem, m_identity.keyPem));
}
