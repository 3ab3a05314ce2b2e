// SPDX-License-Identifier: Apache-2.0
/// @file
/// A TLS connection of which a test holds both ends.
#pragma once

#include <memory>
#include <string>

#include <httpclient/testing/Certificates.h>

#include "net/Channel.h"
#include "setting/SocketPair.h"
#include "setting/TlsPeer.h"

/// The certificates of these tests: made once.
struct Certificates {
    httpclient::testing::CertificateAuthority ca{"Our CA"};
    httpclient::testing::CertificateAuthority foreign{"Another CA"};
    httpclient::testing::Identity server = ca.IssueServer();
    httpclient::testing::Identity client = ca.IssueClient();
    httpclient::testing::Identity stranger = foreign.IssueClient("stranger");

    static const Certificates& Instance();
};

/// What a client trusts in these tests, from memory: our CA, the name "localhost".
httpclient::net::TlsSettings TrustingSettings();
/// @return the context of settings that are right.
std::shared_ptr<const httpclient::net::TlsContext> ContextOf(const httpclient::net::TlsSettings& settings);
/// A peer with the certificate for "localhost".
PeerSettings LocalhostPeer();

/// Both ends, on one thread.
class TlsPair {
public:
    explicit TlsPair(const PeerContext& peerContext,
                     const httpclient::net::TlsSettings& settings = TrustingSettings());
    TlsPair(const PeerContext& peerContext, std::shared_ptr<const httpclient::net::TlsContext> context,
            std::shared_ptr<httpclient::net::SessionCache> sessions = nullptr);

    /// Has both ends shake hands. @return how it ended for the client.
    httpclient::net::IoResult Handshake();
    /// Writes text as one piece, all of it, while the peer reads nothing.
    void Write(const std::string& text);
    /// Reads once, when there is something to read.
    httpclient::net::IoResult ReadOnce(std::string& text, std::size_t room = 65536);
    /// Reads until something comes of it: tickets alone are nothing.
    httpclient::net::IoResult Read(std::string& text, std::size_t room = 65536);
    /// Has everything that the peer has sent so far come in, tickets included.
    void Settle();

    httpclient::net::Channel channel;
    TlsPeer peer;

private:
    TlsPair(SocketPair sockets, const PeerContext& peerContext);
};
