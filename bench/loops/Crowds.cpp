// SPDX-License-Identifier: Apache-2.0
#include <limits>

#include "Crowd.h"

std::unique_ptr<Crowd> MakeBareEpoll(const CrowdTarget& target);
std::unique_ptr<Crowd> MakeEngine(const CrowdTarget& target);
std::unique_ptr<Crowd> MakeEngineInline(const CrowdTarget& target);
std::unique_ptr<Crowd> MakeStrict(const CrowdTarget& target);
std::unique_ptr<Crowd> MakeCompatible(const CrowdTarget& target);
std::unique_ptr<Crowd> MakeCompatibleThreads(const CrowdTarget& target);
std::unique_ptr<Crowd> MakeCurlMulti(const CrowdTarget& target);
std::unique_ptr<Crowd> MakeBeast(const CrowdTarget& target);
CancelTimes CancelOnEngine(const CrowdTarget& target, std::size_t inFlight);

namespace {

constexpr std::size_t ANY = std::numeric_limits<std::size_t>::max();

// Each asynchronous send of the first road is a thread, and its pool lends a hundred connections of an address: who asks
// for one more waits for seconds.
constexpr std::size_t MOST_WORKERS = 100;

constexpr std::size_t MOST_THREADS = 256;

// It looks through the connections that it keeps for each that it needs: ten thousand take it ten seconds.
constexpr std::size_t MOST_OF_CURL = 4096;

// A small GET on a kept connection takes such a send five seconds.
constexpr int ROUNDS_OF_WORKERS = 2;

} // namespace

const std::vector<CrowdKind>& AllCrowds() {
    static const std::vector<CrowdKind> all{
        {"bare epoll loop", ANY, &MakeBareEpoll},
        {"libhttpclient, Client", ANY, &MakeEngine, &CancelOnEngine},
        {"libhttpclient, Client, callbacks on the loop", ANY, &MakeEngineInline},
        {"libhttpclient, STRICT", ANY, &MakeStrict},
        {"libhttpclient, asynchronous", MOST_WORKERS, &MakeCompatible, nullptr, ROUNDS_OF_WORKERS},
        {"libhttpclient, synchronous on threads", MOST_THREADS, &MakeCompatibleThreads},
        {"libcurl, multi with epoll", MOST_OF_CURL, &MakeCurlMulti},
#ifdef WITH_BEAST
        {"Boost.Beast", ANY, &MakeBeast},
#endif
    };
    return all;
}
