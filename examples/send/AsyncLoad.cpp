// SPDX-License-Identifier: Apache-2.0
#include "send/AsyncLoad.h"

#include "send/InFlight.h"
#include "send/RequestMaker.h"

namespace sender {
namespace {

/// A worker looks after its transfer up to five seconds apart, and so calls back some time
/// after the time-out.
constexpr std::chrono::seconds LATEST_CALLBACK{10};
constexpr std::chrono::hours FOREVER{1000};

Duration Patience(const Options& options) {
    if (options.requestTimeout == 0) {
        return FOREVER;
    }
    return std::chrono::seconds(options.requestTimeout) + LATEST_CALLBACK;
}

} // namespace

Outcome SendAsync(const Options& options, const CHttpRequest& request) {
    InFlight requests(1, Patience(options));
    requests.Send(*MakeClient(options), request, options.target.Tls());
    std::vector<Outcome> outcomes;
    while (outcomes.empty()) {
        outcomes = requests.WaitForOutcomes(REDRAW_EVERY);
    }
    return std::move(outcomes.front());
}

Tally SendAsyncRepeatedly(const Options& options, const CHttpRequest& request, ProgressBar& progress,
                          const std::atomic<bool>& stop) {
    const auto client = MakeClient(options);
    InFlight requests(options.threads, Patience(options));
    Tally tally;
    for (std::uint64_t sent = 0;;) {
        for (; sent < options.repeat && !stop && requests.HasPlace(); ++sent) {
            requests.Send(*client, request, options.target.Tls());
        }
        if (requests.UnderWay() == 0) {
            return tally;
        }
        for (const Outcome& outcome : requests.WaitForOutcomes(REDRAW_EVERY)) {
            tally.Add(outcome);
        }
        progress.Draw(tally.times.size());
    }
}

} // namespace sender
