// SPDX-License-Identifier: Apache-2.0
#include "ServerEngine.h"

#include <exception>
#include <system_error>
#include <utility>

#include <httpclient/testing/Failures.h>

#include "QuietThread.h"
#include "RequestReader.h"

namespace httpclient::testing {

namespace {

/// Does what is to follow a reply. @return whether the connection goes on.
bool GoesOn(Stream& stream, After after) {
    switch (after) {
    case After::Keep:
        return true;
    case After::Close:
        stream.SayGoodbye();
        break;
    case After::Cut:
        break;
    case After::Reset:
        stream.ResetOnClose();
        break;
    case After::Stall:
        stream.AwaitHangUp();
        break;
    }
    return false;
}

} // namespace

LoopbackServer::Engine::Engine(Handler handler, ServerOptions options, std::shared_ptr<StreamOpener> opener)
    : m_handler(std::move(handler)), m_options(std::move(options)), m_opener(std::move(opener)),
      m_listener(m_options.address, m_options.port) {
    m_listening = StartQuietThread([this] { Listen(); });
}

LoopbackServer::Engine::~Engine() {
    Stop();
}

void LoopbackServer::Engine::Stop() {
    if (!m_listening.joinable()) {
        return;
    }
    m_stop.Raise();
    m_listening.join();
    m_listener.Close();
    for (Worker& worker : m_workers) {
        worker.thread.join();
    }
    m_workers.clear();
}

void LoopbackServer::Engine::Listen() {
    while (Descriptor socket = m_listener.Accept(m_stop)) {
        m_workers.remove_if([](Worker& worker) {
            const bool done = worker.done; // asked once: one that ended in between would not be joined
            if (done) {
                worker.thread.join();
            }
            return done;
        });
        Start(std::move(socket));
    }
}

void LoopbackServer::Engine::Start(Descriptor socket) {
    const unsigned int connection = m_sights.Update([](Sights& seen) {
        ++seen.open;
        return ++seen.accepted;
    });
    Worker& worker = m_workers.emplace_back();
    try {
        worker.thread = StartQuietThread([this, &worker, connection, owned = std::move(socket)]() mutable {
            Work(std::move(owned), connection);
            m_sights.Update([](Sights& seen) { --seen.open; });
            worker.done = true;
        });
    } catch (const std::system_error& error) {
        m_workers.pop_back();
        m_sights.Update([](Sights& seen) { --seen.open; });
        Fail(error.what());
    }
}

void LoopbackServer::Engine::Work(Descriptor socket, unsigned int connection) {
    try {
        Welcome(std::move(socket), connection);
    } catch (const std::exception& error) {
        Fail(error.what());
    }
}

void LoopbackServer::Engine::Welcome(Descriptor socket, unsigned int connection) {
    const OnAccept plan = m_options.onAccept ? m_options.onAccept(connection) : OnAccept::Serve;
    if (plan == OnAccept::Serve) {
        if (const std::unique_ptr<Stream> stream = m_opener->Open(std::move(socket), m_stop)) {
            Converse(*stream, connection);
        }
        return;
    }
    PlainStream stream(std::move(socket), m_stop);
    if (plan == OnAccept::ReadNothing) {
        stream.AwaitHangUp();
    } else if (plan == OnAccept::Reset) {
        stream.ResetOnClose();
    } else if (plan == OnAccept::CloseAfterHello) {
        char first = 0;
        stream.Read(&first, 1);
    }
}

void LoopbackServer::Engine::Converse(Stream& stream, unsigned int connection) {
    RequestReader reader(stream, m_options.answerExpect);
    unsigned int number = 0;
    while (auto request = reader.Next()) {
        request->connection = connection;
        request->number = ++number;
        request->peerSubject = stream.PeerSubject();
        m_sights.Update([&request](Sights& seen) { seen.requests.push_back(*request); });
        const Reply reply = Answer(*request);
        if (!Send(stream, reply) || !GoesOn(stream, reply.after)) {
            return;
        }
    }
    if (!reader.leftover().empty()) {
        m_sights.Update([&reader](Sights& seen) { seen.unfinished.push_back(reader.leftover()); });
    }
}

Reply LoopbackServer::Engine::Answer(const RecordedRequest& request) {
    try {
        return m_handler(request);
    } catch (const std::exception& error) {
        Fail(error.what());
    } catch (...) {
        Fail("the handler threw what is no std::exception");
    }
    return Then(Respond(500), After::Close);
}

bool LoopbackServer::Engine::Send(Stream& stream, const Reply& reply) const {
    for (const Piece& piece : reply.pieces) {
        if ((piece.delay.count() > 0 && !m_stop.Pause(piece.delay)) || !stream.Write(piece.bytes)) {
            return false;
        }
    }
    return true;
}

void LoopbackServer::Engine::Fail(const std::string& what) {
    m_sights.Update([&what](Sights& seen) { seen.failures.push_back(what); });
    ReportFailure("test server at port " + std::to_string(port()) + ": " + what);
}

} // namespace httpclient::testing
