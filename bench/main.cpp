// SPDX-License-Identifier: Apache-2.0
// Runs the benchmarks of Google's library. Ends non-zero when one of them failed.
#include <cstdlib>
#include <memory>

#include <benchmark/benchmark.h>

#include <httpclient/HttpConnectionMgr.h>

#include "BenchServer.h"
#include "Descriptors.h"
#include "RatioReporter.h"
#include "TlsServer.h"

namespace {

std::unique_ptr<TlsServer> g_server;

} // namespace

const TlsServer& BenchServer() {
    return *g_server;
}

int main(int argc, char** argv) {
    for (const char* proxy : {"http_proxy", "https_proxy", "all_proxy", "HTTPS_PROXY", "ALL_PROXY"}) {
        unsetenv(proxy);
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 2;
    }
    RaiseDescriptorLimit();
    g_server = std::make_unique<TlsServer>();
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    CHttpConnectionMgr::Finalize();
    g_server.reset();
    return reporter.AllWell() ? 0 : 1;
}
