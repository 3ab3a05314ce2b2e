// SPDX-License-Identifier: Apache-2.0
#include "setting/WithoutPrivileges.h"

#include <unistd.h>

namespace {

constexpr uid_t NOBODY = 65534;

} // namespace

WithoutPrivileges::WithoutPrivileges(const std::filesystem::path& directory) : m_former(geteuid()) {
    if (m_former != 0) {
        return;
    }
    bool given = chown(directory.c_str(), NOBODY, static_cast<gid_t>(-1)) == 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(directory)) {
        given = chown(entry.path().c_str(), NOBODY, static_cast<gid_t>(-1)) == 0 && given;
    }
    if (given && seteuid(NOBODY) != 0) {
        return; // held() tells
    }
}

WithoutPrivileges::~WithoutPrivileges() {
    if (m_former == 0 && seteuid(m_former) != 0) {
        _exit(1); // nothing after this would test what it says
    }
}

bool WithoutPrivileges::held() const {
    return geteuid() != 0;
}
