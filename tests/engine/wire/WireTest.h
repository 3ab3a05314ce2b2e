// SPDX-License-Identifier: Apache-2.0
/// @file
/// Calls on the caller's thread and on the loop, which have one outcome each whatever the wire does.
#pragma once

#include <atomic>
#include <future>
#include <memory>
#include <random>
#include <string>
#include <utility>

#include "setting/EngineTest.h"

/// What most answers begin with.
inline const std::string OK = "HTTP/1.1 200 OK\r\n";

/// Who drives a call.
enum class Driver { Blocking, Loop };

inline std::string NameOf(const ::testing::TestParamInfo<Driver>& one) {
    return one.param == Driver::Blocking ? "Blocking" : "Loop";
}

/// An engine of one connection, so that a slot that is lost holds up the next call.
class WireTest : public ::testing::TestWithParam<Driver> {
protected:
    void TearDown() override {
        m_engine.reset();
        EXPECT_EQ(m_outcomes, m_started) << "one outcome for each call";
    }

    Client ClientOf(ClientOptions options) { return Client(std::move(options), *m_engine); }

    Result Send(const Client& client, const Request& request) {
        if (GetParam() == Driver::Blocking) {
            return client.Send(request);
        }
        ++m_started;
        const auto promise = std::make_shared<std::promise<Result>>();
        std::future<Result> result = promise->get_future();
        client.Start(request, [this, promise](Result outcome) {
            if (m_outcomes++ < m_started) {
                promise->set_value(std::move(outcome));
            }
        });
        return result.get();
    }

    const unsigned m_seed = std::random_device()();
    const ::testing::ScopedTrace m_trace{__FILE__, __LINE__, "seed " + std::to_string(m_seed)};
    std::unique_ptr<Engine> m_engine = std::make_unique<Engine>(EngineOptions().maxConnections(1, 2));

private:
    std::atomic<int> m_started{0};
    std::atomic<int> m_outcomes{0};
};
