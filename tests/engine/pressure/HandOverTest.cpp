// SPDX-License-Identifier: Apache-2.0
// Time-outs that race the hand-over of a connection: who leaves while being handed one passes it on, and no slot is lost.
#include <atomic>
#include <future>
#include <random>
#include <thread>
#include <vector>

#include "setting/EngineTest.h"
#include "setting/ScriptedServer.h"

namespace {

constexpr int THREADS = 6;
constexpr int CALLS = 60; ///< of each thread

} // namespace

TEST(HandOver, RacingTimeOutsLosesNoSlotAndNoOutcome) {
    const unsigned seed = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(seed));
    for (const bool kept : {true, false}) {
        std::atomic<int> open{0};
        std::atomic<int> most{0};
        const ScriptedServer server([&](Peer& peer) {
            const int now = ++open;
            for (int before = most; now > before && !most.compare_exchange_weak(before, now);) {
            }
            while (peer.Expect("\r\n\r\n")) {
                std::this_thread::sleep_for(500us); // as long as the time-outs differ
                peer.Send(kept ? "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok"
                               : "HTTP/1.1 200 OK\r\nContent-Length: 2\r\nConnection: close\r\n\r\nok");
            }
            --open;
        });
        Engine engine(EngineOptions().maxConnections(2, 2));
        const Client client(OptionsFor(server.origin()), engine);
        std::atomic<int> answers{0};
        std::atomic<int> timeOuts{0};
        std::atomic<int> others{0};
        const auto note = [&](const Result& result) {
            const bool late = !result && result.failure().kind() == FailureKind::Timeout;
            ++(result ? answers : late ? timeOuts : others);
            if (!result && !late) {
                ADD_FAILURE() << Told(result) << ": " << result.failure().message();
            }
        };
        std::vector<std::thread> threads;
        for (int i = 0; i < THREADS; ++i) {
            threads.emplace_back([&, i] {
                std::mt19937 random(seed + static_cast<unsigned>(i));
                for (int call = 0; call < CALLS; ++call) {
                    const Request request = Get().timeout(std::chrono::milliseconds(1 + random() % 4));
                    note(i % 2 == 0 ? client.Send(request) : client.SendAsync(request).get());
                }
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        EXPECT_EQ(answers + timeOuts + others, THREADS * CALLS) << "one outcome each";
        // As many calls at once as there are slots: each is there.
        std::future<Result> one = client.SendAsync(Get());
        EXPECT_EQ(Told(client.Send(Get())), "200 ok");
        EXPECT_EQ(Told(one.get()), "200 ok");
        EXPECT_GT(timeOuts, 0);
        RecordProperty(kept ? "kept: time-outs" : "closed: time-outs", timeOuts);
        RecordProperty(kept ? "kept: answers" : "closed: answers", answers);
    }
}
