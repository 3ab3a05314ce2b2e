// SPDX-License-Identifier: Apache-2.0
#include "engine/Connecting.h"

#include <utility>

#include "net/Address.h"

namespace httpclient::engine {

namespace {

bool DescriptorsUsedUp(std::error_code error) {
    return error == std::errc::too_many_files_open || error == std::errc::too_many_files_open_in_system;
}

} // namespace

Connecting::Connecting(Core& core, std::shared_ptr<Destination> to, std::shared_ptr<Waker> waker)
    : m_core(core), m_to(std::move(to)), m_waker(std::move(waker)) {}

Connecting::Status Connecting::Fail(FailureKind kind, std::error_code code, std::string text) {
    m_fault = {KindBy(code, kind), code, std::move(text)};
    return Status::Failed;
}

Connecting::Status Connecting::Step(net::Time now) {
    switch (m_phase) {
    case Phase::Resolve:
        return Resolve(now);
    case Phase::Connect:
        return Connect(now);
    default:
        return m_started ? Handshake(now) : BeginHandshake(now);
    }
}

Connecting::Status Connecting::Resolve(net::Time now) {
    if (!m_to->place.path.empty()) {
        return BeginDial({net::UnixAddress(m_to->place.path).value()},
                         now); // it was checked with the options
    }
    const std::shared_ptr<const net::NameAnswer> answer =
        m_core.resolver().Find(m_to->place.host, now, m_waker, std::exchange(m_asked, true));
    if (!answer) {
        m_wait = {Wait::For::Wake, {}, net::Time::max()};
        return Status::Pending;
    }
    if (answer->endpoints.empty()) {
        return Fail(FailureKind::Resolve, answer->error);
    }
    std::vector<net::Endpoint> endpoints = answer->endpoints;
    for (net::Endpoint& endpoint : endpoints) {
        net::SetPort(endpoint, m_to->place.port);
    }
    return BeginDial(std::move(endpoints), now);
}

Connecting::Status Connecting::BeginDial(std::vector<net::Endpoint> endpoints, net::Time now) {
    m_phase = Phase::Connect;
    m_dial.emplace(std::move(endpoints));
    return Connect(now);
}

Connecting::Status Connecting::Connect(net::Time now) {
    net::Dial::Status status = m_dial->Step(now);
    if (status == net::Dial::Status::Failed && DescriptorsUsedUp(m_dial->error()) && !m_madeRoom) {
        m_madeRoom = true;
        if (m_core.pool().CloseIdle(CloseReason::Limit) > 0) {
            m_dial.reset();
            m_phase = Phase::Resolve; // the answer is at hand
            return Resolve(now);
        }
    }
    switch (status) {
    case net::Dial::Status::Pending:
        m_watched.clear();
        m_dial->Watch(m_watched);
        m_wait = {Wait::For::Dial, {}, m_dial->NextStart()};
        return Status::Pending;
    case net::Dial::Status::Failed:
        return Fail(FailureKind::Connect, m_dial->error());
    case net::Dial::Status::Connected:
        break;
    }
    m_channel.emplace(m_dial->Take());
    m_dial.reset();
    if (!m_to->material) {
        return Finish(now);
    }
    m_phase = Phase::Handshake;
    return BeginHandshake(now);
}

void Connecting::RunWork(net::Time now) {
    m_context = m_to->material->Current(now, m_fault.code, m_fault.text);
    m_workDone = m_context || m_fault.code != std::errc::operation_in_progress;
}

Connecting::Status Connecting::BeginHandshake(net::Time now) {
    if (!m_context && !m_workDone) {
        m_context = m_to->material->InUse();
    }
    if (!m_context) {
        if (m_workDone) {
            return Fail(FailureKind::Tls, m_fault.code, std::move(m_fault.text));
        }
        // What another thread is at may take as long as its host's password function.
        const bool byAnother = m_to->material->AwaitReader(m_waker);
        m_wait = {byAnother ? Wait::For::Wake : Wait::For::Work, {}, net::Time::max()};
        return Status::Pending;
    }
    m_core.keeper().NeededAt(now + std::chrono::seconds(1)); // from here on the files are looked after
    m_channel->StartTls(m_context, m_to->sessions);
    m_started = true;
    return Handshake(now);
}

Connecting::Status Connecting::Handshake(net::Time now) {
    const net::IoResult result = m_channel->Handshake();
    if (result.error) {
        return Fail(FailureKind::Tls, result.error);
    }
    if (result.wants == net::Wants::Nothing) {
        m_resumed = m_channel->resumed();
        (m_resumed ? m_to->counts->resumed : m_to->counts->handshakes).Add();
        return Finish(now);
    }
    const short events = result.wants == net::Wants::Read ? POLLIN : POLLOUT;
    m_wait = {Wait::For::Io, {m_channel->fd(), events, 0}, net::Time::max()};
    return Status::Pending;
}

Connecting::Status Connecting::Finish(net::Time now) {
    m_connection = std::make_unique<Connection>(std::move(*m_channel), m_to,
                                                m_context ? m_context->generation() : 0, now);
    m_channel.reset();
    return Status::Done;
}

} // namespace httpclient::engine
