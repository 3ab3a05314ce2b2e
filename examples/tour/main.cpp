// SPDX-License-Identifier: Apache-2.0
// Shows what the library promises, byte by byte, and checks it. Exit code 0: every promise was kept.
#include <cstdlib>
#include <exception>
#include <string>

#include <fmt/format.h>

#include <httpclient/HttpConnectionMgr.h>

#include "tour/OwnProcess.h"
#include "tour/Stop.h"
#include "tour/TemporaryDirectory.h"
#include "tour/Tour.h"
#include "tour/TraceLog.h"
#include "tour/Transcript.h"

namespace {

/// Everything happens on this machine, where no proxy has a say.
void ForgetProxies() {
    for (const char* name : {"http_proxy", "https_proxy", "all_proxy", "HTTPS_PROXY", "ALL_PROXY"}) {
        unsetenv(name);
    }
}

/// The pool's thread is stopped before the process's statics go.
struct PoolEnd {
    ~PoolEnd() { CHttpConnectionMgr::Finalize(); }
};

/// Shows a stop in this process, which it has for itself.
tour::Tally Show(const tour::Stop& stop, const std::string& directory) {
    tour::Transcript transcript;
    try {
        tour::TraceLog log(directory + "/trace.log");
        const PoolEnd poolEnd;
        tour::Tour tour(transcript, log, directory);
        stop.Show(tour);
    } catch (const std::exception& problem) {
        transcript.Checked(fmt::format("the stop ended early: {}", problem.what()), false);
    }
    return transcript.Checks();
}

void Visit(const tour::Stop& stop, int number, tour::Transcript& transcript) {
    transcript.Heading(number, stop.Promise());
    const tour::TemporaryDirectory directory;
    const auto checks = tour::InOwnProcess([&] { return Show(stop, directory.Path()); });
    if (checks) {
        transcript.Add(*checks);
    } else {
        transcript.Checked("the stop's process came to its end", false);
    }
}

} // namespace

int main() try {
    ForgetProxies();
    fmt::print("What the library promises: asked of it (asked), sent (>), received (<), logged, given back "
               "(result).\n");
    tour::Transcript transcript;
    const auto stops = tour::Stop::All();
    int number = 0;
    for (const tour::Stop* stop : stops) {
        Visit(*stop, ++number, transcript);
    }
    return transcript.Close(stops.size()) ? 0 : 1;
} catch (const std::exception& error) {
    fmt::print(stderr, "{}\n", error.what());
    return 1;
}
