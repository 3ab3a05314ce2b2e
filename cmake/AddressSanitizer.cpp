// SPDX-License-Identifier: Apache-2.0
// Part of each executable that is built for the address sanitizer, which looks for leaks, too.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include <dirent.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

/// @return what is left out: what ACE loses of a thread that could not be started.
extern "C" const char* __lsan_default_suppressions();

const char* __lsan_default_suppressions() {
    return "leak:ACE_OS::thr_create\n";
}

namespace {

constexpr int LONGEST_WAIT = 5000; // milliseconds

/// @return whether a thread of this process waits for something, which none does amid the allocator
bool Sleeps(const char* thread) {
    char name[64];
    std::snprintf(name, sizeof name, "/proc/self/task/%.20s/stat", thread);
    std::FILE* const file = std::fopen(name, "re");
    if (file == nullptr) {
        return true; // it has ended
    }
    char text[128] = "";
    static_cast<void>(std::fread(text, 1, sizeof text - 1, file));
    std::fclose(file);
    const char* const state = std::strstr(text, ") "); // after the thread's name
    return state == nullptr || state[2] == 'S' || state[2] == 'Z' || state[2] == 'X';
}

bool AllOthersSleep() {
    DIR* const threads = opendir("/proc/self/task");
    if (threads == nullptr) {
        return true; // where no descriptor is left it is not known
    }
    const long self = syscall(SYS_gettid);
    bool all = true;
    while (const dirent* const thread = all ? readdir(threads) : nullptr) {
        const long number = std::strtol(thread->d_name, nullptr, 10);
        all = number == 0 || number == self || Sleeps(thread->d_name);
    }
    closedir(threads);
    return all;
}

/// The sanitizer's allocator is not made for forks: a lock that another thread holds is never given back in the child.
/// So a fork waits until all others sleep, for a while; no longer, as some never do.
void WaitForOthers() {
    int former = 0;
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &former); // a fork is no cancellation point
    const timespec millisecond{0, 1000000};
    for (int waited = 0; waited < LONGEST_WAIT && !AllOthersSleep(); ++waited) {
        syscall(SYS_nanosleep, &millisecond, nullptr); // tests hold what is not called like that
    }
    pthread_setcancelstate(former, nullptr);
}

[[maybe_unused]] const int REGISTERED = pthread_atfork(&WaitForOthers, nullptr, nullptr);

} // namespace
