// SPDX-License-Identifier: Apache-2.0
/// @file
/// The making of one connection: name, connection, handshake.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include <poll.h>

#include <httpclient/Result.h>

#include "engine/Connection.h"
#include "engine/Core.h"
#include "engine/Wait.h"
#include "net/Dial.h"
#include "net/TlsMaterial.h"

namespace httpclient::engine {

/// What went wrong with making a connection, or with an exchange over one.
struct Fault {
    FailureKind kind = FailureKind::Internal;
    std::error_code code;
    std::string text; ///< for the log, where it says more than the code does; no secret
};

/// @return Internal where a code tells that memory is exhausted, and otherwise @p kind.
inline FailureKind KindBy(const std::error_code& code, FailureKind kind) noexcept {
    return code == std::errc::not_enough_memory || code == std::errc::no_buffer_space ? FailureKind::Internal
                                                                                      : kind;
}

/// Makes a connection to a destination. Step() goes as far as it can without waiting.
class Connecting {
public:
    enum class Status { Pending, Done, Failed };

    Connecting(Core& core, std::shared_ptr<Destination> to, std::shared_ptr<Waker> waker);

    Status Step(net::Time now);
    /// Reads the TLS material, which may block. When Step() waits for Work.
    void RunWork(net::Time now);

    /// After Pending: what it waits for. `until` is set where it has a time of its own.
    const Wait& wait() const noexcept { return m_wait; }
    std::vector<pollfd>& watched() noexcept { return m_watched; }
    /// What it is doing: Resolve, Connect or Handshake.
    Phase phase() const noexcept { return m_phase; }
    /// After Done.
    std::unique_ptr<Connection> Take() { return std::move(m_connection); }
    /// The process forked: forgets the connection without touching it.
    void Abandon() noexcept {
        if (m_channel) {
            m_channel->Abandon();
        }
    }
    bool resumed() const noexcept { return m_resumed; }
    /// After Failed.
    Fault& fault() noexcept { return m_fault; }

private:
    Status Resolve(net::Time now);
    Status BeginDial(std::vector<net::Endpoint> endpoints, net::Time now);
    Status Connect(net::Time now);
    Status BeginHandshake(net::Time now);
    Status Handshake(net::Time now);
    Status Fail(FailureKind kind, std::error_code code, std::string text = {});
    Status Finish(net::Time now);

    Core& m_core;
    std::shared_ptr<Destination> m_to;
    std::shared_ptr<Waker> m_waker;
    Phase m_phase = Phase::Resolve;
    Wait m_wait;
    bool m_asked = false; ///< for the name
    std::optional<net::Dial> m_dial;
    bool m_madeRoom = false; ///< descriptors were used up, and idle connections were closed for it once
    std::vector<pollfd> m_watched;
    std::optional<net::Channel> m_channel;
    std::shared_ptr<const net::TlsContext> m_context;
    bool m_workDone = false;
    bool m_started = false; ///< the handshake
    std::unique_ptr<Connection> m_connection;
    bool m_resumed = false;
    Fault m_fault;
};

} // namespace httpclient::engine
