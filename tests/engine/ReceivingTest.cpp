// SPDX-License-Identifier: Apache-2.0
// What an answer is read with: a waiting reader is woken by all that it waits for.
#include "engine/Receiving.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <arpa/inet.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <gtest/gtest.h>

#include <httpclient/testing/Patience.h>

#include "net/Channel.h"
#include "net/Descriptor.h"

using httpclient::engine::Receiving;
using httpclient::engine::Scratch;
using httpclient::net::Channel;
using httpclient::net::Descriptor;
using httpclient::testing::PATIENCE;

namespace {

constexpr int SECOND = 1000;

/// Both ends of a connection over the loopback, ours non-blocking.
class ReceivingTest : public ::testing::Test {
protected:
    ReceivingTest() {
        const Descriptor listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        auto* const generic = reinterpret_cast<sockaddr*>(&address);
        socklen_t size = sizeof address;
        const int buffer = 1 << 20; // room for all that is sent at once
        EXPECT_EQ(setsockopt(listener.get(), SOL_SOCKET, SO_RCVBUF, &buffer, sizeof buffer), 0);
        EXPECT_EQ(bind(listener.get(), generic, size), 0);
        EXPECT_EQ(listen(listener.get(), 1), 0);
        EXPECT_EQ(getsockname(listener.get(), generic, &size), 0);
        m_peer.Reset(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
        EXPECT_EQ(connect(m_peer.get(), generic, size), 0);
        m_channel =
            Channel(Descriptor(accept4(listener.get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC)));
    }

    /// Sends, and waits until all of it has come.
    void Send(std::string_view bytes) {
        ASSERT_EQ(send(m_peer.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL),
                  static_cast<ssize_t>(bytes.size()));
        int there = 0;
        for (int i = 0; i < PATIENCE.count() && there < static_cast<int>(bytes.size()); ++i) {
            ASSERT_EQ(ioctl(m_channel.fd(), FIONREAD, &there), 0);
            if (there < static_cast<int>(bytes.size())) {
                static_cast<void>(poll(nullptr, 0, 1));
            }
        }
        ASSERT_EQ(there, static_cast<int>(bytes.size()));
    }
    /// Reads all that there is, as a driver does.
    Receiving::Status ReadAll() {
        for (;;) {
            const Receiving::Status status =
                m_receiving.Step(m_channel, Scratch{m_scratch.data(), m_scratch.size()});
            if (status == Receiving::Status::Head) {
                m_receiving.reader().KeepBody(m_body);
            } else if (status != Receiving::Status::Again) {
                return status;
            }
        }
    }
    /// @return whether a driver that waits wakes.
    bool Wakes() const {
        pollfd ready{m_channel.fd(), POLLIN, 0};
        return poll(&ready, 1, SECOND) == 1;
    }

    Descriptor m_peer;
    Channel m_channel{Descriptor()};
    std::vector<char> m_scratch = std::vector<char>(32UL * 1024);
    httpclient::http1::ResponseHead m_head;
    Receiving m_receiving{httpclient::Method::Get, httpclient::http1::Limits{}, false, m_head};
    std::string m_body;
};

const std::string HALF(100'000, 'x');

} // namespace

TEST_F(ReceivingTest, EndOfALongChunkWakesTheReader) {
    Send("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n30d40\r\n" + HALF);
    ASSERT_EQ(ReadAll(), Receiving::Status::Pending);
    Send(HALF);
    ASSERT_EQ(ReadAll(), Receiving::Status::Pending);
    Send("\r\n0\r\n\r\n");
    EXPECT_TRUE(Wakes());
    EXPECT_EQ(ReadAll(), Receiving::Status::Ended);
    EXPECT_EQ(m_body, HALF + HALF);
}

TEST_F(ReceivingTest, LastBytesOfALongBodyWakeTheReader) {
    Send("HTTP/1.1 200 OK\r\nContent-Length: 200001\r\n\r\n" + HALF);
    ASSERT_EQ(ReadAll(), Receiving::Status::Pending);
    Send(HALF);
    ASSERT_EQ(ReadAll(), Receiving::Status::Pending);
    Send("x");
    EXPECT_TRUE(Wakes());
    EXPECT_EQ(ReadAll(), Receiving::Status::Ended);
    EXPECT_EQ(m_body, HALF + HALF + "x");
}
