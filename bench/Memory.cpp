// SPDX-License-Identifier: Apache-2.0
#include "Memory.h"

#include <filesystem>
#include <fstream>
#include <iterator>

#include <malloc.h>
#include <unistd.h>

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
    const std::filesystem::directory_iterator threads("/proc/self/task");
    return static_cast<int>(std::distance(begin(threads), end(threads)));
}
