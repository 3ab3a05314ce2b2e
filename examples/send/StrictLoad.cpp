// SPDX-License-Identifier: Apache-2.0
#include "send/StrictLoad.h"

#include <condition_variable>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include <sys/resource.h>

#include "send/Strict.h"

namespace sender {
namespace {

/// What the callbacks leave for the thread that starts the calls.
class Arrivals {
public:
    void Add(Outcome outcome) {
        const std::lock_guard<std::mutex> lock(m_lock);
        m_outcomes.push_back(std::move(outcome));
        m_changed.notify_one();
    }
    /// @return what has come since the last time; nothing when nothing came for a while.
    std::vector<Outcome> Wait(Duration atMost) {
        std::unique_lock<std::mutex> lock(m_lock);
        m_changed.wait_for(lock, atMost, [this] { return !m_outcomes.empty(); });
        return std::exchange(m_outcomes, {});
    }

private:
    std::mutex m_lock;
    std::condition_variable m_changed;
    std::vector<Outcome> m_outcomes;
};

} // namespace

void AllowDescriptors() {
    rlimit files{};
    if (getrlimit(RLIMIT_NOFILE, &files) == 0) {
        files.rlim_cur = files.rlim_max;
        setrlimit(RLIMIT_NOFILE, &files);
    }
}

Tally SendInFlight(const Options& options, const httpclient::Client& client,
                   const httpclient::Request& request, const std::function<void(const Outcome&)>& note,
                   ProgressBar& progress, const std::atomic<bool>& stop) {
    const auto arrivals = std::make_shared<Arrivals>(); // the last callback may still be in it
    Tally tally;
    std::uint64_t started = 0;
    std::uint64_t ended = 0;
    for (;;) {
        for (; started < options.repeat && !stop && started - ended < options.threads; ++started) {
            client.Start(request, [arrivals](httpclient::Result&& result) {
                arrivals->Add(OutcomeOf(std::move(result)));
            });
        }
        if (started == ended) {
            return tally;
        }
        for (const Outcome& outcome : arrivals->Wait(REDRAW_EVERY)) {
            tally.Add(outcome);
            note(outcome);
            ++ended;
        }
        progress.Draw(ended);
    }
}

} // namespace sender
