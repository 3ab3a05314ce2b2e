// SPDX-License-Identifier: Apache-2.0
// Shows what the library promises, byte by byte, and checks it. Exit code 0: every promise was kept.
#include "tour/Stop.h"
#include "tour/Tour.h"
#include "tour/TraceLog.h"
#include "tour/Transcript.h"

#include <cstdlib>
#include <exception>

#include <fmt/format.h>

#include <httpclient/HttpConnectionMgr.h>

namespace {

/// Everything happens on this machine, where no proxy has a say.
void ForgetProxies() {
    for (const char* name : {"http_proxy", "https_proxy", "all_proxy", "HTTPS_PROXY", "ALL_PROXY"}) {
        unsetenv(name);
    }
}

/// Each stop begins with a pool of its own and leaves none behind.
struct PoolEnd {
    ~PoolEnd() { CHttpConnectionMgr::Finalize(); }
};

void Visit(const tour::Stop& stop, int number, tour::Transcript& transcript, tour::TraceLog& log) {
    transcript.Heading(number, stop.Promise());
    const PoolEnd poolEnd;
    try {
        tour::Tour tour(transcript, log);
        stop.Show(tour);
    } catch (const std::exception& problem) {
        transcript.Checked(fmt::format("the stop ended early: {}", problem.what()), false);
    }
}

} // namespace

int main() {
    ForgetProxies();
    fmt::print("What the library promises: asked of it (asked), sent (>), received (<), logged, given back "
               "(result).\n");
    tour::TraceLog log;
    tour::Transcript transcript;
    const auto stops = tour::Stop::All();
    int number = 0;
    for (const tour::Stop* stop : stops) {
        Visit(*stop, ++number, transcript, log);
    }
    return transcript.Close(stops.size()) ? 0 : 1;
}
