// SPDX-License-Identifier: Apache-2.0
// Plain connections; those over TLS are in TlsChannelTest.
#include "net/Channel.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <string>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <gtest/gtest.h>

#include "seam/SystemCalls.h"
#include "setting/SocketPair.h"

using namespace httpclient::net;

namespace {

class ChannelTest : public ::testing::Test {
protected:
    ChannelTest() : m_channel(std::move(m_pair.ours)) {}

    IoResult Write(const std::vector<std::string>& texts) {
        std::vector<iovec> pieces;
        pieces.reserve(texts.size());
        for (const std::string& text : texts) {
            pieces.push_back({const_cast<char*>(text.data()), text.size()});
        }
        return m_channel.Write(pieces.data(), static_cast<int>(pieces.size()));
    }
    IoResult Read(std::string& text, std::size_t room = 100) {
        text.assign(room, '\0');
        const IoResult result = m_channel.Read(text.data(), room);
        text.resize(result.bytes);
        return result;
    }

    SocketPair m_pair;
    Channel m_channel;
};

} // namespace

TEST_F(ChannelTest, WritesAllPiecesWithOneSystemCall) {
    const SystemCalls calls;
    const IoResult result = Write({"head", "", "body"});
    EXPECT_EQ(result.bytes, 8U);
    EXPECT_EQ(result.wants, Wants::Nothing);
    EXPECT_EQ(calls.sendmsgs(), 1U);
    EXPECT_EQ(calls.sends(), 0U);
    EXPECT_TRUE(calls.noSignal());
    m_channel = Channel(Descriptor());
    EXPECT_EQ(ReadToEnd(m_pair.theirs.get()), "headbody");
}

TEST_F(ChannelTest, ReadsWhatIsThereWithOneSystemCall) {
    SendAll(m_pair.theirs.get(), "answer");
    ASSERT_TRUE(WaitFor(m_channel.fd(), POLLIN));
    const SystemCalls calls;
    std::string text;
    const IoResult result = Read(text);
    EXPECT_EQ(text, "answer");
    EXPECT_FALSE(result.ended);
    EXPECT_EQ(calls.receives(), 1U);
}

TEST_F(ChannelTest, TakesNoMoreThanThereIsRoomFor) {
    SendAll(m_pair.theirs.get(), "answer");
    ASSERT_TRUE(WaitFor(m_channel.fd(), POLLIN));
    std::string text;
    Read(text, 3);
    EXPECT_EQ(text, "ans");
    EXPECT_FALSE(m_channel.Buffered()) << "poll() sees the rest";
    Read(text, 4);
    EXPECT_EQ(text, "wer");
}

TEST_F(ChannelTest, WantsToReadWhereNothingIsThere) {
    std::string text;
    const IoResult result = Read(text);
    EXPECT_EQ(result.wants, Wants::Read);
    EXPECT_EQ(result.bytes, 0U);
    EXPECT_FALSE(result.error);
    EXPECT_FALSE(result.ended);
}

TEST_F(ChannelTest, WantsToWriteWhenThePeerReadsNothing) {
    const std::string block(1 << 20, 'x');
    std::size_t written = 0;
    IoResult result;
    do {
        result = Write({block});
        written += result.bytes;
    } while (result.wants == Wants::Nothing && !result.error);
    EXPECT_EQ(result.wants, Wants::Write);
    EXPECT_EQ(result.bytes, 0U);
    m_channel = Channel(Descriptor());
    EXPECT_EQ(ReadToEnd(m_pair.theirs.get()).size(), written);
}

TEST_F(ChannelTest, SeesTheEnd) {
    m_pair.theirs.Reset();
    ASSERT_TRUE(WaitFor(m_channel.fd(), POLLIN));
    std::string text;
    const IoResult result = Read(text);
    EXPECT_TRUE(result.ended);
    EXPECT_TRUE(result.clean) << "over TCP nobody can tell";
    EXPECT_FALSE(result.error);
}

TEST_F(ChannelTest, SeesAReset) {
    Reset(m_pair.theirs);
    ASSERT_TRUE(WaitFor(m_channel.fd(), POLLIN));
    std::string text;
    EXPECT_EQ(Read(text).error, std::errc::connection_reset);
}

TEST_F(ChannelTest, RaisesNoSignalWhenThePeerIsGone) {
    const auto former = std::signal(SIGPIPE, SIG_DFL); // the process would end
    Reset(m_pair.theirs);
    ASSERT_TRUE(WaitFor(m_channel.fd(), POLLIN));
    EXPECT_EQ(Write({"x"}).error, std::errc::connection_reset);
    EXPECT_EQ(Write({"x"}).error, std::errc::broken_pipe);
    std::signal(SIGPIPE, former);
}

TEST_F(ChannelTest, GoesOnAfterASignal) {
    SendAll(m_pair.theirs.get(), "answer");
    ASSERT_TRUE(WaitFor(m_channel.fd(), POLLIN));
    SystemCalls calls;
    std::string text;
    calls.Interrupt(2);
    EXPECT_EQ(Read(text).bytes, 6U);
    EXPECT_EQ(calls.receives(), 3U);
    calls.Interrupt(2);
    EXPECT_EQ(Write({"x"}).bytes, 1U);
    EXPECT_EQ(calls.sendmsgs(), 3U);
    calls.Interrupt(2);
    EXPECT_TRUE(m_channel.Quiet());
}

TEST_F(ChannelTest, IsQuietUntilSomethingArrives) {
    const SystemCalls calls;
    EXPECT_TRUE(m_channel.Quiet());
    EXPECT_EQ(calls.receives(), 1U) << "one look";
    SendAll(m_pair.theirs.get(), "x");
    ASSERT_TRUE(WaitFor(m_channel.fd(), POLLIN));
    EXPECT_FALSE(m_channel.Quiet());
    std::string text;
    EXPECT_EQ(Read(text).bytes, 1U) << "the look takes nothing";
    EXPECT_TRUE(m_channel.Quiet());
}

TEST_F(ChannelTest, IsNotQuietAfterTheEndOrAReset) {
    SocketPair other;
    Channel second(std::move(other.ours));
    m_pair.theirs.Reset();
    Reset(other.theirs);
    ASSERT_TRUE(WaitFor(m_channel.fd(), POLLIN));
    ASSERT_TRUE(WaitFor(second.fd(), POLLIN));
    EXPECT_FALSE(m_channel.Quiet());
    EXPECT_FALSE(second.Quiet());
}

TEST_F(ChannelTest, WakesWhenAsManyBytesAreThereAsWereAskedFor) {
    m_channel.WakeAt(100);
    SendAll(m_pair.theirs.get(), std::string(99, 'x'));
    pollfd wait{m_channel.fd(), POLLIN, 0};
    int queued = 0;
    while (queued < 99) {
        ASSERT_EQ(ioctl(m_channel.fd(), FIONREAD, &queued), 0);
    }
    EXPECT_EQ(poll(&wait, 1, 0), 0);
    SendAll(m_pair.theirs.get(), "y");
    EXPECT_TRUE(WaitFor(m_channel.fd(), POLLIN));
    m_channel.WakeAt(1);
    std::string text;
    Read(text, 99);
    EXPECT_EQ(poll(&wait, 1, 0), 1);
}

TEST_F(ChannelTest, WakesAtTheEndHoweverManyBytesWereAskedFor) {
    m_channel.WakeAt(1 << 30);
    m_pair.theirs.Reset();
    EXPECT_TRUE(WaitFor(m_channel.fd(), POLLIN));
}

TEST_F(ChannelTest, TellsTheKernelOnlyWhatIsNew) {
    int value = 0;
    socklen_t size = sizeof value;
    m_channel.WakeAt(0);
    ASSERT_EQ(getsockopt(m_channel.fd(), SOL_SOCKET, SO_RCVLOWAT, &value, &size), 0);
    EXPECT_EQ(value, 1);
    m_channel.WakeAt(std::size_t{1} << 40);
    ASSERT_EQ(getsockopt(m_channel.fd(), SOL_SOCKET, SO_RCVLOWAT, &value, &size), 0);
    EXPECT_EQ(value, 1 << 20) << "at most";
}

TEST_F(ChannelTest, MovesWithItsSocket) {
    const int fd = m_channel.fd();
    Channel moved(std::move(m_channel));
    EXPECT_EQ(moved.fd(), fd);
    EXPECT_FALSE(moved.isTls());
    EXPECT_FALSE(moved.resumed());
    EXPECT_EQ(moved.Handshake().wants, Wants::Nothing) << "a plain connection has none";
    SocketPair other;
    Channel third(std::move(other.ours));
    third = std::move(moved);
    EXPECT_TRUE(AtEnd(other.theirs.get())) << "what was there is closed";
    EXPECT_EQ(third.fd(), fd);
}

TEST_F(ChannelTest, LeavesItsDescriptorAloneWhenItIsAbandoned) {
    const int fd = m_channel.fd();
    m_channel.Abandon();
    EXPECT_EQ(m_channel.fd(), -1);
    EXPECT_GE(fcntl(fd, F_GETFD), 0);
    const Descriptor owner(fd);
}
