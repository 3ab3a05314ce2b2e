// SPDX-License-Identifier: Apache-2.0
// Gives a target what is kept for it, file by file, with any compiler, and random changes of it:
// replay <target> <number of changed inputs> <directory>...
// The environment variable FUZZ_SEED repeats the changes of an earlier run.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include <httpclient/testing/Files.h>

#include "Change.h"
#include "Target.h"

namespace {

std::vector<std::filesystem::path> Files(const std::filesystem::path& directory) {
    std::vector<std::filesystem::path> files;
    if (std::filesystem::is_directory(directory)) {
        for (const auto& entry : std::filesystem::directory_iterator(directory)) {
            files.push_back(entry.path());
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

/// Runs so many random changes of the inputs.
void RunChanged(FuzzFunction run, const std::vector<std::string>& inputs, int count) {
    const char* const wished = std::getenv("FUZZ_SEED");
    const auto seed = wished != nullptr ? std::stoul(wished) : std::random_device()();
    std::fprintf(stderr, "FUZZ_SEED=%lu\n", static_cast<unsigned long>(seed));
    std::mt19937 random(seed);
    for (int number = 0; number < count; ++number) {
        std::string input = inputs[random() % inputs.size()];
        for (auto changes = 1 + random() % 4; changes > 0; --changes) {
            Change(input, random);
        }
        run(input);
    }
}

} // namespace

int main(int argc, char** argv) {
    const FuzzFunction run = FindFuzzTarget(argc > 2 ? argv[1] : "");
    if (run == nullptr) {
        std::fputs("usage: replay <target> <number of changed inputs> <directory>...\n", stderr);
        return 2;
    }
    std::vector<std::string> inputs;
    for (int i = 3; i < argc; ++i) {
        for (const auto& file : Files(argv[i])) {
            std::fprintf(stderr, "%s\n",
                         file.c_str()); // the last one named is the one that ended the process
            inputs.push_back(httpclient::testing::ReadFile(file));
            run(inputs.back());
        }
    }
    if (inputs.empty()) {
        return 1; // nothing replayed is nothing shown
    }
    RunChanged(run, inputs, std::atoi(argv[2]));
    std::printf("%zu inputs\n", inputs.size());
    return 0;
}
