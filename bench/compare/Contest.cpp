// SPDX-License-Identifier: Apache-2.0
#include "Contest.h"

#include <algorithm>
#include <stdexcept>

namespace {

std::vector<Contestant> MakeContestants() {
    std::vector<Contestant> all;
    for (const PeerKind& peer : AllPeers()) {
        all.push_back(
            {peer.name, [&peer](const Work& work, double seconds) { return Measure(peer, work, seconds); }});
        if (peer.name == "libhttpclient") {
            all.push_back({"libhttpclient, asynchronous",
                           [](const Work& work, double) { return MeasureAsynchronous(work); }, true});
        }
    }
    return all;
}

bool Wanted(const std::vector<std::string>& wanted, const std::string& name) {
    return wanted.empty() || std::find(wanted.begin(), wanted.end(), name) != wanted.end();
}

} // namespace

const std::vector<Contestant>& AllContestants() {
    static const std::vector<Contestant> all = MakeContestants();
    return all;
}

std::vector<Contestant> ContestantsOf(const Work& work, const std::vector<std::string>& wanted) {
    std::vector<Contestant> those;
    for (const Contestant& one : AllContestants()) {
        if ((work.burst || !one.burstsOnly) && (those.empty() || Wanted(wanted, one.name))) {
            those.push_back(one);
        }
    }
    return those;
}

WorkResults Compare(const Work& work, const std::vector<Contestant>& contestants, int rounds, double seconds,
                    const std::function<void(const std::string& contestant)>& progress) {
    RoundsByName figures;
    const std::string& floor = contestants.front().name;
    for (int round = 0; round < rounds; ++round) {
        for (size_t i = 0; i < contestants.size(); ++i) {
            // Each round begins with another, so that none always follows the same neighbour.
            const Contestant& one = contestants[(i + static_cast<size_t>(round)) % contestants.size()];
            progress(one.name);
            figures[one.name].push_back(one.measure(work, seconds));
        }
        if (!figures[floor].back().Measured()) {
            throw std::runtime_error(work.name + ": the floor got no answer");
        }
    }
    WorkResults results{work.name, work.title, {}, GoalsReached(work.name, figures)};
    for (const Contestant& one : contestants) {
        results.results.push_back(Summarise(one.name, figures[one.name], figures[floor]));
    }
    return results;
}
