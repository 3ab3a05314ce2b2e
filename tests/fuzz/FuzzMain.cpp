// SPDX-License-Identifier: Apache-2.0
// The entry that libFuzzer calls. The environment variable FUZZ_TARGET chooses the target.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "Target.h"

namespace {

FuzzFunction ChosenTarget() {
    const char* const name = std::getenv("FUZZ_TARGET");
    const FuzzFunction run = FindFuzzTarget(name != nullptr ? name : "");
    if (run != nullptr) {
        return run;
    }
    std::fputs("FUZZ_TARGET must be one of:", stderr);
    for (const FuzzTarget& target : FUZZ_TARGETS) {
        std::fprintf(stderr, " %s", target.name.data());
    }
    std::fputc('\n', stderr);
    std::exit(2);
}

} // namespace

// What is fuzzed of the engine is linked from its objects, which the library has, too.
extern "C" const char*
__asan_default_options() { // NOLINT(bugprone-reserved-identifier): the sanitizer's name
    return "detect_odr_violation=0";
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const FuzzFunction run = ChosenTarget();
    run({reinterpret_cast<const char*>(data), size});
    return 0;
}
