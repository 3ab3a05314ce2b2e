// SPDX-License-Identifier: Apache-2.0
#include "net/TlsLayer.h"

#include <new>
#include <utility>

#include <openssl/err.h>

#include "net/Address.h"
#include "net/RecordPieces.h"
#include "net/Socket.h"
#include "net/TlsErrors.h"

namespace httpclient::net {

namespace {

/// Where an SSL has its TlsLayer. @throw std::bad_alloc
int LayerIndex() {
    static const int index = [] {
        const int made = SSL_get_ex_new_index(0, nullptr, nullptr, nullptr, nullptr);
        if (made < 0) {
            throw std::bad_alloc();
        }
        return made;
    }();
    return index;
}

void Require(bool success) {
    if (!success) {
        throw std::bad_alloc(); // nothing but memory can be missing
    }
}

bool LastErrorIs(int reason) {
    const unsigned long last = ERR_peek_last_error();
    return ERR_GET_LIB(last) == ERR_LIB_SSL && ERR_GET_REASON(last) == reason;
}

} // namespace

TlsLayer::TlsLayer(int fd, std::shared_ptr<const TlsContext> context, std::shared_ptr<SessionCache> sessions)
    : m_context(std::move(context)), m_sessions(std::move(sessions)) {
    m_socket.fd = fd;
    const ErrorQueueGuard guard;
    Prepare();
}

TlsLayer::~TlsLayer() {
    if (!m_done) {
        return;
    }
    const ErrorQueueGuard guard;
    const bool broken = (m_readEnd && (m_readEnd->error || !m_readEnd->clean)) || m_writeEnd;
    if (!broken) {
        SSL_shutdown(m_ssl.get());
    }
    // Or OpenSSL would take the session for broken, and resume it no more. After a fatal error it has done so already.
    SSL_set_shutdown(m_ssl.get(), SSL_SENT_SHUTDOWN | SSL_RECEIVED_SHUTDOWN);
}

void TlsLayer::Prepare() {
    m_ssl.reset(SSL_new(m_context->get()));
    Require(m_ssl != nullptr);
    BioPtr bio = MakeBio(m_socket);
    Require(bio != nullptr);
    SSL_set_bio(m_ssl.get(), bio.get(), bio.get()); // takes it, once
    static_cast<void>(bio.release());
    Require(SSL_set_ex_data(m_ssl.get(), LayerIndex(), this) == 1);
    const std::string& name = m_context->serverName();
    if (!name.empty()) {
        Require(SSL_set_tlsext_host_name(m_ssl.get(), name.c_str()) == 1);
    }
    SSL_set_connect_state(m_ssl.get());
    OfferSession();
}

void TlsLayer::OfferSession() {
    if (m_sessions == nullptr) {
        return;
    }
    const SessionCache::SessionPtr session = m_sessions->Take(m_context->generation());
    if (session != nullptr) {
        m_offered =
            SSL_set_session(m_ssl.get(), session.get()) == 1; // without it the handshake is a full one
    }
}

void TlsLayer::KeepSessions(SSL_CTX* context) {
    SSL_CTX_set_session_cache_mode(context, SSL_SESS_CACHE_CLIENT | SSL_SESS_CACHE_NO_INTERNAL);
    SSL_CTX_sess_set_new_cb(context, &OnNewSession);
}

int TlsLayer::OnNewSession(SSL* ssl, SSL_SESSION* session) {
    auto* const layer = static_cast<TlsLayer*>(SSL_get_ex_data(ssl, LayerIndex()));
    if (layer == nullptr || layer->m_sessions == nullptr) {
        return 0;
    }
    layer->KeepSession(session);
    return 1; // the reference is ours now
}

void TlsLayer::KeepSession(SSL_SESSION* session) noexcept {
    m_sessions->Put({session, &SSL_SESSION_free}, m_context->generation());
}

IoResult TlsLayer::Handshake() {
    if (m_done) {
        return {};
    }
    if (m_writeEnd) {
        return *m_writeEnd;
    }
    const ErrorQueueGuard guard;
    m_socket.askAgain = true;
    const int result = SSL_do_handshake(m_ssl.get());
    if (result != 1) {
        const IoResult failed = Failed(Doing::Handshake, result);
        if (failed.wants == Wants::Nothing) {
            m_writeEnd = failed;
            m_readEnd = failed;
            if (m_offered) {
                m_sessions->Clear(); // the others may be as bad, and would cost a call each
            }
        }
        return failed;
    }
    FinishHandshake();
    return {};
}

void TlsLayer::FinishHandshake() {
    m_done = true;
    m_buffered = SSL_has_pending(m_ssl.get()) == 1;
    // OpenSSL tells of a session of TLS 1.2 only when it is made; it may be resumed again and again.
    if (m_sessions != nullptr && resumed() && SSL_version(m_ssl.get()) < TLS1_3_VERSION) {
        if (SSL_SESSION* const session = SSL_get1_session(m_ssl.get())) {
            KeepSession(session);
        }
    }
}

bool TlsLayer::resumed() const noexcept {
    return m_done && SSL_session_reused(m_ssl.get()) == 1;
}

IoResult TlsLayer::Write(const iovec* pieces, int count) {
    IoResult outcome;
    if (m_writeEnd) {
        return *m_writeEnd;
    }
    const ErrorQueueGuard guard;
    RecordPieces rest(pieces, count);
    while (!rest.Empty()) {
        const auto [bytes, size] = rest.Next();
        std::size_t written = 0;
        const int result = SSL_write_ex(m_ssl.get(), bytes, size, &written);
        if (result != 1) {
            const IoResult failed = Failed(Doing::Writing, result);
            if (failed.wants == Wants::Nothing) {
                m_writeEnd = failed;
            }
            return outcome.bytes > 0 ? outcome : failed;
        }
        rest.Advance(written);
        outcome.bytes += written;
    }
    return outcome;
}

IoResult TlsLayer::Read(char* to, std::size_t room) {
    IoResult outcome;
    m_buffered = false;
    if (m_readEnd) {
        return *m_readEnd;
    }
    const ErrorQueueGuard guard;
    m_socket.drained = false;
    while (outcome.bytes < room) {
        std::size_t read = 0;
        // A wish that is returned is one that the kernel has expressed: whoever waits for edges relies on it.
        m_socket.askAgain = outcome.bytes == 0;
        const int result = SSL_read_ex(m_ssl.get(), to + outcome.bytes, room - outcome.bytes, &read);
        if (result != 1) {
            const IoResult failed = Failed(Doing::Reading, result);
            if (failed.wants == Wants::Nothing) {
                m_readEnd = failed;
                // It has yet to be told, and the kernel may know nothing of it.
                m_buffered = outcome.bytes > 0;
            }
            return outcome.bytes > 0 ? outcome : failed;
        }
        outcome.bytes += read;
        if (m_socket.drained && SSL_has_pending(m_ssl.get()) == 0) {
            return outcome;
        }
    }
    m_buffered = SSL_has_pending(m_ssl.get()) == 1;
    return outcome;
}

bool TlsLayer::Quiet() {
    if (!m_done || m_readEnd || m_writeEnd) {
        return false;
    }
    if (SSL_has_pending(m_ssl.get()) == 0 && NothingArrived(m_socket.fd)) {
        return true;
    }
    const ErrorQueueGuard guard;
    char byte = 0;
    std::size_t seen = 0;
    m_socket.askAgain = true;
    const int result = SSL_peek_ex(m_ssl.get(), &byte, 1, &seen);
    if (result == 1) {
        m_buffered = true;
        return false;
    }
    const IoResult failed = Failed(Doing::Reading, result);
    if (failed.wants == Wants::Nothing) {
        m_readEnd = failed;
    }
    // Half a record may be the beginning of anything.
    return failed.wants == Wants::Read && SSL_has_pending(m_ssl.get()) == 0;
}

IoResult TlsLayer::Failed(Doing doing, int result) const {
    IoResult outcome;
    const int reason = SSL_get_error(m_ssl.get(), result);
    if (reason == SSL_ERROR_WANT_READ) {
        outcome.wants = Wants::Read;
        return outcome;
    }
    if (reason == SSL_ERROR_WANT_WRITE) {
        outcome.wants = Wants::Write;
        return outcome;
    }
    // Not by SSL_RECEIVED_SHUTDOWN: a fatal alert sets it, too.
    if (doing == Doing::Reading && (reason == SSL_ERROR_ZERO_RETURN || EndedWithoutNotice())) {
        outcome.ended = true;
        outcome.clean = reason == SSL_ERROR_ZERO_RETURN;
        return outcome;
    }
    outcome.ended = m_socket.ended;
    outcome.error = Cause();
    return outcome;
}

bool TlsLayer::EndedWithoutNotice() const {
    return m_socket.ended && LastErrorIs(SSL_R_UNEXPECTED_EOF_WHILE_READING);
}

std::error_code TlsLayer::Cause() const {
    if (m_socket.readError != 0) {
        return SystemError(m_socket.readError);
    }
    const long verdict = SSL_get_verify_result(m_ssl.get());
    if (LastErrorIs(SSL_R_CERTIFICATE_VERIFY_FAILED) &&
        verdict != X509_V_OK) { // or it could not even be looked at
        return {static_cast<int>(verdict), CertificateCategory()};
    }
    if (ERR_peek_error() != 0) {
        return TakeTlsError();
    }
    if (m_socket.writeError != 0) {
        return SystemError(m_socket.writeError);
    }
    // Only want of memory leaves not even an error behind.
    return m_socket.ended ? TlsError(ERR_LIB_SSL, SSL_R_UNEXPECTED_EOF_WHILE_READING)
                          : std::make_error_code(std::errc::not_enough_memory);
}

} // namespace httpclient::net
