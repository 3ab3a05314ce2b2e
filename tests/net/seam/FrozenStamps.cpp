// SPDX-License-Identifier: Apache-2.0
#include "seam/FrozenStamps.h"

#include <ctime>

#include "interpose/Next.h"

namespace {

thread_local FrozenStamps* t_stamps = nullptr;

int Real(const char* path, struct stat* seen) {
    static auto* const next = httpclient::testing::Next<int(const char*, struct stat*)>("stat");
    return next(path, seen);
}

} // namespace

FrozenStamps::FrozenStamps(std::chrono::seconds age) : m_age(age) {
    t_stamps = this;
}

FrozenStamps::~FrozenStamps() {
    t_stamps = nullptr;
}

int FrozenStamps::Look(const char* path, struct stat* seen) {
    const auto known = m_stamps.find(path);
    if (known != m_stamps.end()) {
        *seen = known->second;
        return 0;
    }
    const int result = Real(path, seen);
    if (result == 0) {
        seen->st_ctim = {time(nullptr) - m_age.count(), 0};
        m_stamps.emplace(path, *seen);
    }
    return result;
}

extern "C" int stat(const char* path, struct stat* seen) noexcept {
    return t_stamps != nullptr ? t_stamps->Look(path, seen) : Real(path, seen);
}
