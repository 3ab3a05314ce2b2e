// SPDX-License-Identifier: Apache-2.0
// Built without access control: the patterns are put in place directly. What service identity adds
// to a request.
#include <string>

#include <benchmark/benchmark.h>

#include "cost/CachedToken.h"
#include "identity/HttpSiaToken.h"

namespace {

std::string Pattern(int64_t number) {
    return "/service/" + std::to_string(number) + "/resource";
}

/// The last of so many patterns without "*" matches.
void MatchPath(benchmark::State& state) {
    CHttpSiaToken* identity = CHttpSiaToken::Instance();
    identity->m_mapServiceUrl.clear();
    for (int64_t i = 0; i < state.range(0); ++i) {
        identity->m_mapServiceUrl[Pattern(10000 + i)] = "Service";
    }
    const std::string path = Pattern(10000 + state.range(0) - 1) + "/?query=1";
    for ([[maybe_unused]] auto _ : state) {
        if (identity->GetServiceNameByUrl(path, false) != "Service") {
            state.SkipWithError("no match");
        }
    }
    identity->m_mapServiceUrl.clear();
}

void CachedToken(benchmark::State& state) {
    CacheToken("/service/*");
    std::string token;
    for ([[maybe_unused]] auto _ : state) {
        if (CHttpSiaToken::Instance()->GetSiaToken("/service/1", token, false) != 0) {
            state.SkipWithError("no token");
        }
    }
    SwitchIdentity(false);
    CHttpSiaToken::Instance()->m_mapServiceUrl.clear();
}

BENCHMARK(MatchPath)->Arg(1)->Arg(1000)->Unit(benchmark::kMicrosecond);
BENCHMARK(CachedToken);

} // namespace
