// SPDX-License-Identifier: Apache-2.0
/// @file
/// Calls over an engine of the test's own.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <thread>
#include <utility>

#include <gtest/gtest.h>

#include <httpclient/Client.h>
#include <httpclient/Engine.h>
#include <httpclient/testing/Certificates.h>
#include <httpclient/testing/LoopbackServer.h>
#include <httpclient/testing/TlsLoopbackServer.h>

#include "setting/Outcomes.h"

// Both have classes of the same names (TlsOptions), so that only one of them is opened.
namespace kit = httpclient::testing;
using namespace httpclient;
using namespace std::chrono_literals;

/// Longer than a busy machine takes for what does happen.
constexpr std::chrono::milliseconds LONG{20'000};

/// What a call may take beyond its deadline on a busy machine. The promise is 50 ms on one that is not.
constexpr std::chrono::milliseconds TOLERANCE{2'000};

/// More than the buffers of any connection hold, but for those of a server that has few.
constexpr std::size_t BIG = 16UL * 1024 * 1024;
constexpr int SMALL_BUFFER = 16 * 1024;

/// @return a request without a body.
Request Get(const std::string& target = "/");
/// @return a POST with a body.
Request Post(const std::string& body = "question", const std::string& target = "/");

/// @return options for a server, with a time-out for busy machines.
ClientOptions OptionsFor(const std::string& origin);
ClientOptions OptionsFor(const kit::LoopbackServer& server);

/// @return how long something takes.
template <class Work> std::chrono::steady_clock::duration TimeOf(Work&& work) {
    const auto begin = std::chrono::steady_clock::now();
    std::forward<Work>(work)();
    return std::chrono::steady_clock::now() - begin;
}

/// Waits until something holds. @return whether it does.
template <class Condition> bool Becomes(const Condition& holds) {
    const auto giveUp = std::chrono::steady_clock::now() + kit::PATIENCE;
    while (!holds()) {
        if (std::chrono::steady_clock::now() > giveUp) {
            return false;
        }
        std::this_thread::sleep_for(1ms);
    }
    return true;
}

/// Answers every request with "200 OK" and a body.
kit::LoopbackServer::Handler Always(const std::string& body = "answer");

/// @return how a server does TLS that asks nobody for a certificate.
kit::TlsOptions ServerTls(const kit::CertificateAuthority& ca);

/// A test with an engine that begins and ends with it.
class EngineTest : public ::testing::Test {
protected:
    explicit EngineTest(EngineOptions options = {}) : m_engine(std::move(options)) {}

    Client ClientOf(ClientOptions options) { return Client(std::move(options), m_engine); }
    Client ClientOf(const kit::LoopbackServer& server) { return ClientOf(OptionsFor(server)); }

    Engine m_engine;
};
