// SPDX-License-Identifier: Apache-2.0
/// @file
/// Runs a call again and again, each time with another of its fallible calls failing.
#pragma once

#include <atomic>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include <httpclient/testing/Certificates.h>
#include <httpclient/testing/LoopbackServer.h>
#include <httpclient/testing/TlsLoopbackServer.h>

#include "../torture/FaultPlan.h"
#include "setting/EngineTest.h"

/// What became of what ran under a plan.
struct Ended {
    std::string told; ///< as Told() has it; what Client::Start() threw otherwise
    std::error_code code;
    bool sent = false; ///< whether it says that the server may have seen it
    std::size_t outcomes = 1;
};

/// Something to run under plans.
struct Scenario {
    std::function<void()> prepare; ///< before each run; nothing fails
    std::function<Ended()> run;    ///< its calls, and those of the threads that it starts, fail
    std::function<void()>
        clear; ///< frees what came of it, still under the plan, but nothing fails; may be empty
    std::function<void()>
        next; ///< afterwards; has to work. Where an engine ends, its threads have to be waited for
    std::string wanted = "200 answer";
    std::string kind;      ///< of a failure that may come of it in any case, besides; empty: none
    std::string refused;   ///< of a failure that may come where something is refused, besides; empty: none
    std::size_t lines = 1; ///< in the log at most, where it failed otherwise
    std::size_t kept = 0;  ///< blocks of memory at most that are kept on purpose each time
};

/// Calls under torture: each of their calls for memory, descriptors and threads fails once, each that makes or uses a
/// connection fails once with each of its errors and is interrupted once, and each into OpenSSL fails once.
///
/// After each: one outcome, an answer or what was refused; as a rule one line in the log at most; nothing leaks; no waiting for a
/// deadline; the only slot of the pool is free for the next call, which works.
///
/// Of many calls some fail, others in each run; with TORTURE_ALL in the environment all do.
class Torture : public ::testing::Test {
protected:
    void Run(const Scenario& scenario);
    /// A server that answers, and counts what it answers.
    kit::LoopbackServer::Handler Counting(kit::Reply reply = kit::Respond(200, {}, "answer"));

    std::atomic<std::size_t> m_handled{0}; ///< requests in all

private:
    struct Way;
    static const Way WAYS[];

    void RunEach(const Scenario& scenario, const Way& way);
    void RunWithFailing(const Scenario& scenario, const Way& way, std::size_t failing);
    Ended RunUnder(const Scenario& scenario, const FaultPlan& plan);
    void ExpectFair(const Scenario& scenario, const Way& way, const Ended& ended,
                    std::size_t handledBefore) const;

    // After a run:
    std::size_t m_count = 0; ///< of calls that may fail
    std::size_t m_seen = 0;  ///< requests in all
    std::size_t m_lines = 0; ///< in the log
};

/// @return what a result says.
Ended EndOf(const Result& result);

/// @return options of a client that goes to a server by its name, and tries again where the name is not known: that
///         is remembered for a second.
ClientOptions ByName(const kit::LoopbackServer& server);

/// One with a server that asks for a certificate.
class TlsTorture : public Torture {
protected:
    TlsTorture();
    ClientOptions Options() const;

    const kit::CertificateAuthority m_ca;
    const kit::Identity m_identity;
    std::optional<kit::TlsLoopbackServer> m_server;
};
