// SPDX-License-Identifier: Apache-2.0
#include "OpenSeam.h"

#include <cerrno>
#include <map>
#include <mutex>
#include <utility>

namespace {

constexpr int NEVER = -1;
std::mutex g_mutex;
std::map<std::pair<std::string, std::string>, int> g_opened;
int g_untilFailure[] = {NEVER, NEVER};

bool MustFail(OpenSeam::Level level) {
    int& until = g_untilFailure[static_cast<int>(level)];
    if (until == NEVER) {
        return false;
    }
    if (until > 1) {
        --until;
        return false;
    }
    errno = EMFILE;
    return true;
}

void* Refused() {
    return reinterpret_cast<void*>(-1); // NOLINT(performance-no-int-to-ptr): this is how both say no
}

} // namespace

OpenSeam::OpenSeam(Level level, int nth) {
    const std::lock_guard<std::mutex> lock(g_mutex);
    g_untilFailure[static_cast<int>(level)] = nth;
}

OpenSeam::~OpenSeam() {
    const std::lock_guard<std::mutex> lock(g_mutex);
    for (int& until : g_untilFailure) {
        until = NEVER;
    }
}

int OpenSeam::Opened(const std::string& from, const std::string& to) {
    const std::lock_guard<std::mutex> lock(g_mutex);
    const auto found = g_opened.find({from, to});
    return found == g_opened.end() ? 0 : found->second;
}

// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp): the linker gives the names
extern "C" {

void* __real_libiconv_open(const char* to, const char* from);
void* __real_iconv_open(const char* to, const char* from);
void* __wrap_libiconv_open(const char* to, const char* from);
void* __wrap_iconv_open(const char* to, const char* from);

void* __wrap_libiconv_open(const char* to, const char* from) {
    {
        const std::lock_guard<std::mutex> lock(g_mutex);
        ++g_opened[{from, to}];
        if (MustFail(OpenSeam::Level::Conversion)) {
            return Refused();
        }
    }
    return __real_libiconv_open(to, from);
}

void* __wrap_iconv_open(const char* to, const char* from) {
    {
        const std::lock_guard<std::mutex> lock(g_mutex);
        if (MustFail(OpenSeam::Level::LibraryStep)) {
            return Refused();
        }
    }
    return __real_iconv_open(to, from);
}

} // extern "C"
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
