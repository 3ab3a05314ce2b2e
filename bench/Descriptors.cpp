// SPDX-License-Identifier: Apache-2.0
#include "Descriptors.h"

#include <algorithm>
#include <climits>
#include <filesystem>
#include <iterator>

#include <sys/resource.h>

void RaiseDescriptorLimit() {
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
}

int DescriptorLimit() {
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    return static_cast<int>(std::min<rlim_t>(limit.rlim_cur, INT_MAX));
}

int OpenDescriptorsNow() {
    const std::filesystem::directory_iterator open("/proc/self/fd");
    return static_cast<int>(std::distance(begin(open), end(open))) -
           1; // without the one that it is read with
}
