// SPDX-License-Identifier: Apache-2.0
#include "Memory.h"

#include <malloc.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

namespace {

int EntriesOf(const char* directory) {
    int count = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(directory))
        ++count;
    return count;
}

} // namespace

Memory MemoryNow() {
    const struct mallinfo2 info = mallinfo2();
    double total = 0;
    double residentPages = 0;
    std::ifstream("/proc/self/statm") >> total >> residentPages;
    return {static_cast<double>(info.uordblks + info.hblkhd),
            residentPages * static_cast<double>(sysconf(_SC_PAGESIZE))};
}

void TrimMemory() {
    malloc_trim(0);
}

int ThreadsNow() {
    return EntriesOf("/proc/self/task");
}

int OpenDescriptorsNow() {
    return EntriesOf("/proc/self/fd") - 1; // without the one that it is read with
}
