// SPDX-License-Identifier: Apache-2.0
#include "check/RuntimeUser.h"

#include <grp.h>
#include <pwd.h>
#include <unistd.h>

#include "Failure.h"

void BecomeUser(const std::string& name) {
    const passwd* entry = getpwnam(name.c_str());
    if (entry == nullptr) {
        throw Failure("no such user: " + name);
    }
    if (entry->pw_uid == geteuid()) {
        return;
    }
    // Groups before the user, who may not change them any more.
    if (initgroups(entry->pw_name, entry->pw_gid) != 0 || setgid(entry->pw_gid) != 0 ||
        setuid(entry->pw_uid) != 0) {
        throw Failure::FromErrno("cannot become the user " + name);
    }
}
