// SPDX-License-Identifier: Apache-2.0
/// @file
/// Those who are compared.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

/// What a peer is to request, again and again.
struct Target {
    std::uint16_t port = 0;
    std::string path;
    std::string body;  ///< Empty: GET; else POST.
    std::string token; ///< Not empty: sent as "x-access-token"; the library has it of itself.
    size_t answerBytes = 128;
    bool tls = false; ///< Mutual TLS.
    std::string ca;   ///< CA file; with tls only.
    std::string certificate;
    std::string key;

    std::string Url() const { return Origin() + path; }
    std::string Origin() const {
        return std::string(tls ? "https" : "http") + "://127.0.0.1:" + std::to_string(port);
    }
    /// @return whether an answer is the one that was asked for.
    bool IsAnswer(long status, size_t bytes) const { return status == 200 && bytes == answerBytes; }
};

/// One thread's client. What it keeps from request to request is what its users would keep: the connection,
/// where the server does. Each verifies the server's certificate and shows its own; that the library leaves
/// the server's name unchecked is left so with the others where they offer it.
class Peer {
public:
    Peer() = default;
    virtual ~Peer() = default;
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    /// @return whether the whole answer came, its body taken out of the library as a text; may
    ///         throw when not.
    virtual bool Send() = 0;
};

struct PeerKind {
    std::string name;
    std::unique_ptr<Peer> (*make)(const Target& target);
};

/// Those that were built: the floor first, then the library's doors, the limit, then the others whose packages were there.
const std::vector<PeerKind>& AllPeers();
