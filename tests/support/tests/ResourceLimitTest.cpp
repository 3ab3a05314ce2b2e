// SPDX-License-Identifier: Apache-2.0
#include "tests/support/ResourceLimit.h"

#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/support/Process.h"

namespace httpclient::testing {

namespace {

int Open() {
    errno = 0;
    const int descriptor = open("/dev/null", O_RDONLY | O_CLOEXEC);
    if (descriptor >= 0) {
        close(descriptor);
    }
    return errno;
}

} // namespace

TEST(ResourceLimit, HoldsWhileItLives) {
    {
        const ResourceLimit none(RLIMIT_NOFILE, 0);
        EXPECT_EQ(Open(), EMFILE);
    }
    EXPECT_EQ(Open(), 0);
}

TEST(ResourceLimit, HoldsForWhatTheProcessStarts) {
    Command command;
    command.words = {"sh", "-c", "ulimit -n"};
    const std::string before = RunCommand(command).out;
    const ResourceLimit few(RLIMIT_NOFILE, 123);
    EXPECT_EQ(RunCommand(command).out, "123\n");
    EXPECT_NE(before, "123\n");
}

} // namespace httpclient::testing
