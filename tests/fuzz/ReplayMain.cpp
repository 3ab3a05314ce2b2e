// SPDX-License-Identifier: Apache-2.0
// Gives a target what is kept for it, file by file, with any compiler: replay <target> <directory>...
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include <httpclient/testing/Files.h>

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

} // namespace

int main(int argc, char** argv) {
    const FuzzFunction run = FindFuzzTarget(argc > 1 ? argv[1] : "");
    if (run == nullptr) {
        std::fputs("no such target\n", stderr);
        return 2;
    }
    std::size_t count = 0;
    for (int i = 2; i < argc; ++i) {
        for (const auto& file : Files(argv[i])) {
            std::fprintf(stderr, "%s\n",
                         file.c_str()); // the last one named is the one that ended the process
            run(httpclient::testing::ReadFile(file));
            ++count;
        }
    }
    std::printf("%zu inputs\n", count);
    return count > 0 ? 0 : 1; // nothing replayed is nothing shown
}
