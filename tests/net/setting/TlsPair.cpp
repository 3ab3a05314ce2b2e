// SPDX-License-Identifier: Apache-2.0
#include "setting/TlsPair.h"

#include <utility>

#include <poll.h>

#include <gtest/gtest.h>

using namespace httpclient::net;

const Certificates& Certificates::Instance() {
    static const Certificates& instance = *new Certificates;
    return instance;
}

TlsSettings TrustingSettings() {
    TlsSettings settings;
    settings.from = TlsSettings::From::Memory;
    settings.authorities = Certificates::Instance().ca.certificatePem();
    settings.name = "localhost";
    return settings;
}

std::shared_ptr<const TlsContext> ContextOf(const TlsSettings& settings) {
    TlsMaterial material(settings);
    std::error_code error;
    std::string message;
    auto context = material.Current(Clock::now(), error, message);
    EXPECT_NE(context, nullptr) << message;
    return context;
}

PeerSettings LocalhostPeer() {
    PeerSettings settings;
    settings.identity = Certificates::Instance().server;
    return settings;
}

TlsPair::TlsPair(SocketPair sockets, const PeerContext& peerContext)
    : channel(std::move(sockets.ours)), peer(peerContext, std::move(sockets.theirs)) {}

TlsPair::TlsPair(const PeerContext& peerContext, const TlsSettings& settings)
    : TlsPair(peerContext, ContextOf(settings)) {}

TlsPair::TlsPair(const PeerContext& peerContext, std::shared_ptr<const TlsContext> context,
                 std::shared_ptr<SessionCache> sessions)
    : TlsPair(SocketPair(), peerContext) {
    channel.StartTls(std::move(context), std::move(sessions));
}

IoResult TlsPair::Handshake() {
    for (;;) {
        const IoResult result = channel.Handshake();
        peer.Accept();
        const bool over = result.wants == Wants::Nothing;
        if (over && (result.error || peer.done() || peer.failed())) {
            return result;
        }
        if (!over && result.wants == Wants::Read) {
            EXPECT_TRUE(WaitFor(channel.fd(), POLLIN));
        } else if (over) {
            EXPECT_TRUE(WaitFor(peer.fd(), POLLIN));
        }
    }
}

void TlsPair::Write(const std::string& text) {
    const iovec piece{const_cast<char*>(text.data()), text.size()};
    const IoResult result = channel.Write(&piece, 1);
    EXPECT_EQ(result.bytes, text.size());
    EXPECT_FALSE(result.error);
}

IoResult TlsPair::Read(std::string& text, std::size_t room) {
    for (;;) {
        const IoResult result = ReadOnce(text, room);
        if (result.wants == Wants::Nothing) {
            return result;
        }
    }
}

void TlsPair::Settle() {
    peer.Write("settled");
    std::string text;
    Read(text);
    EXPECT_EQ(text, "settled");
}

IoResult TlsPair::ReadOnce(std::string& text, std::size_t room) {
    if (!channel.Buffered()) {
        EXPECT_TRUE(WaitFor(channel.fd(), POLLIN));
    }
    text.assign(room, '\0');
    const IoResult result = channel.Read(text.data(), room);
    text.resize(result.bytes);
    return result;
}
