// SPDX-License-Identifier: Apache-2.0
// Client::Start() on one loop: with the engine's callback threads, and with an executor that runs callbacks on the loop.
#include <thread>
#include <utility>

#include <httpclient/Client.h>
#include <httpclient/Engine.h>

#include "../Crowd.h"

using namespace httpclient;

namespace {

EngineOptions OptionsFor(std::size_t most) {
    return EngineOptions().maxConnections(most, most).maxWaiting(most);
}

ClientOptions ClientOptionsFor(const CrowdTarget& target) {
    return ClientOptions(target.Origin()).timeout(DEADLINE).connectTimeout(DEADLINE);
}

bool IsAnswer(Result result) {
    return result && result->status() == 200 && (*std::move(result)).body().size() == ANSWER_BYTES;
}

class EngineCrowd : public Crowd {
public:
    EngineCrowd(const CrowdTarget& target, EngineOptions options)
        : m_engine(std::move(options)), m_client(ClientOptionsFor(target), m_engine) {}

    Tally Run(std::size_t inFlight, Clock::time_point until) override {
        Relay relay(inFlight, until);
        for (std::size_t number = 0; number < inFlight; ++number) {
            StartOne(relay);
        }
        return relay.Wait();
    }

private:
    void StartOne(Relay& relay) {
        m_client.Start(Request(Method::Get, "/128"), [this, &relay](Result result) {
            if (relay.Ended(IsAnswer(std::move(result)))) {
                StartOne(relay);
            }
        });
    }

    Engine m_engine;
    Client m_client;
};

} // namespace

std::unique_ptr<Crowd> MakeEngine(const CrowdTarget& target) {
    return std::make_unique<EngineCrowd>(target, OptionsFor(target.most));
}

std::unique_ptr<Crowd> MakeEngineInline(const CrowdTarget& target) {
    return std::make_unique<EngineCrowd>(
        target, OptionsFor(target.most).executor([](const std::function<void()>& run) { run(); }));
}

CancelTimes CancelOnEngine(const CrowdTarget& target, std::size_t inFlight) {
    constexpr int ROUNDS = 200;
    constexpr std::chrono::milliseconds BEGINNING{300}; // until the others wait for their answers
    constexpr std::chrono::milliseconds UNDER_WAY{2};   // until the request is out, or nearly
    Engine engine(OptionsFor(inFlight));
    const Client client(ClientOptionsFor(target), engine);
    const Request request(Method::Get, "/128");
    for (std::size_t number = 1; number < inFlight; ++number) {
        client.Start(request, [](const Result&) {});
    }
    std::this_thread::sleep_for(BEGINNING);
    CancelTimes times;
    for (int round = 0; round < ROUNDS; ++round) {
        Relay relay(1, Clock::now());
        Clock::time_point ended;
        Call call = client.Start(request, [&](const Result& result) {
            ended = Clock::now();
            relay.Ended(!result && result.failure().kind() == FailureKind::Cancelled);
        });
        std::this_thread::sleep_for(UNDER_WAY);
        const Clock::time_point begun = Clock::now();
        call.Cancel();
        if (relay.Wait().failed == 0) {
            times.push_back(std::chrono::duration<double, std::micro>(ended - begun).count());
        }
    }
    return times;
}
