// SPDX-License-Identifier: Apache-2.0
#include <cstdio>
#include <mutex>
#include <utility>

#include <httpclient/testing/Failures.h>

namespace httpclient::testing {

namespace {

struct Reporting {
    std::mutex mutex;
    FailureReporter reporter;
};

// Never destroyed: a server's thread may report as late as it likes.
Reporting& TheReporting() {
    static auto* const reporting = new Reporting;
    return *reporting;
}

} // namespace

FailureReporter SetFailureReporter(FailureReporter reporter) {
    const std::lock_guard<std::mutex> lock(TheReporting().mutex);
    return std::exchange(TheReporting().reporter, std::move(reporter));
}

void ReportFailure(const std::string& what) {
    const std::lock_guard<std::mutex> lock(TheReporting().mutex);
    if (TheReporting().reporter) {
        TheReporting().reporter(what);
    } else {
        std::fprintf(stderr, "test failure: %s\n", what.c_str());
    }
}

} // namespace httpclient::testing
