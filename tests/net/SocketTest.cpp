// SPDX-License-Identifier: Apache-2.0
#include "net/Socket.h"

#include <cerrno>

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <gtest/gtest.h>

#include "net/Descriptor.h"
#include "seam/Connects.h"
#include "setting/SocketPair.h"

using namespace httpclient::net;

namespace {

bool IsOpen(int fd) {
    return fcntl(fd, F_GETFD) >= 0;
}

Descriptor NewSocket(int family = AF_INET) {
    std::error_code error;
    Descriptor opened = OpenSocket(family, error);
    EXPECT_FALSE(error);
    return opened;
}

} // namespace

TEST(NetSocket, NeverBlocksAndIsClosedInOtherPrograms) {
    for (const int family : {AF_INET, AF_INET6, AF_UNIX}) {
        const Descriptor opened = NewSocket(family);
        ASSERT_TRUE(opened) << family;
        EXPECT_NE(fcntl(opened.get(), F_GETFL) & O_NONBLOCK, 0) << family;
        EXPECT_TRUE(ClosesOnExec(opened.get())) << family;
    }
}

TEST(NetSocket, HasNoNagle) {
    for (const int family : {AF_INET, AF_INET6}) {
        const Descriptor opened = NewSocket(family);
        int on = 0;
        socklen_t size = sizeof on;
        ASSERT_EQ(getsockopt(opened.get(), IPPROTO_TCP, TCP_NODELAY, &on, &size), 0);
        EXPECT_EQ(on, 1) << family;
    }
}

TEST(NetSocket, SaysWhyThereIsNone) {
    Connects connects;
    connects.FailSockets(EMFILE);
    std::error_code error;
    EXPECT_FALSE(OpenSocket(AF_INET, error));
    EXPECT_EQ(error, std::errc::too_many_files_open);
}

TEST(NetDescriptor, ClosesAtItsEndAndWhenItGetsAnother) {
    int fd = -1;
    {
        Descriptor owner = NewSocket();
        fd = owner.get();
        EXPECT_TRUE(IsOpen(fd));
        const int other = NewSocket().Release();
        owner.Reset(other);
        EXPECT_FALSE(IsOpen(fd));
        EXPECT_EQ(owner.get(), other);
        fd = other;
    }
    EXPECT_FALSE(IsOpen(fd));
}

TEST(NetDescriptor, IsOwnedByOneOnly) {
    Descriptor one = NewSocket();
    const int fd = one.get();
    Descriptor two(std::move(one));
    EXPECT_FALSE(one); // NOLINT(bugprone-use-after-move): what is left is what is asked
    EXPECT_EQ(two.get(), fd);
    Descriptor& same = two;
    two = std::move(same);
    EXPECT_EQ(two.get(), fd);
    EXPECT_TRUE(IsOpen(fd));
    Descriptor three = NewSocket();
    const int replaced = three.get();
    three = std::move(two);
    EXPECT_FALSE(IsOpen(replaced));
    EXPECT_TRUE(IsOpen(fd));
    EXPECT_EQ(three.Release(), fd);
    EXPECT_TRUE(IsOpen(fd)) << "whoever releases it owns it";
    Descriptor(fd).Reset();
    EXPECT_FALSE(IsOpen(fd));
}
