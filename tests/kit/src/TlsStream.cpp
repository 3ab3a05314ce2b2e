// SPDX-License-Identifier: Apache-2.0
#include "TlsStream.h"

#include <utility>

#include <poll.h>

#include <openssl/err.h>

namespace httpclient::testing {

TlsStream::TlsStream(Descriptor socket, const StopSignal& stop, SSL_CTX* context)
    : Stream(std::move(socket), stop), m_ssl(SSL_new(context)) {
    Check(m_ssl != nullptr && SSL_set_fd(m_ssl.get(), fd()) == 1, "SSL_new");
}

// Repeats an operation of OpenSSL until it is through, failed, or the server stops.
template <class Operation> int TlsStream::Drive(Operation operation) {
    for (;;) {
        ERR_clear_error();
        const int result = operation();
        if (result > 0) {
            return result;
        }
        const int error = SSL_get_error(m_ssl.get(), result);
        const bool again = (error == SSL_ERROR_WANT_READ && WaitFor(POLLIN)) ||
                           (error == SSL_ERROR_WANT_WRITE && WaitFor(POLLOUT));
        if (!again) {
            return result;
        }
    }
}

std::string TlsStream::Reason() const {
    std::string reason = TakeOpenSslError();
    if (reason.empty()) {
        reason = "connection ended";
    }
    const long verdict = SSL_get_verify_result(m_ssl.get());
    if (verdict != X509_V_OK) {
        reason += std::string(" (") + X509_verify_cert_error_string(verdict) + ")";
    }
    return reason;
}

std::string TlsStream::Handshake() {
    return Drive([this] { return SSL_accept(m_ssl.get()); }) > 0 ? "" : Reason();
}

std::size_t TlsStream::Read(char* buffer, std::size_t size) {
    const int count = Drive([&] { return SSL_read(m_ssl.get(), buffer, static_cast<int>(size)); });
    return count > 0 ? static_cast<std::size_t>(count) : 0;
}

bool TlsStream::Write(std::string_view bytes) {
    // Without partial writes enabled, SSL_write() is through only when all is out.
    return bytes.empty() ||
           Drive([&] { return SSL_write(m_ssl.get(), bytes.data(), static_cast<int>(bytes.size())); }) > 0;
}

void TlsStream::SayGoodbye() {
    SSL_shutdown(m_ssl.get());
}

std::string TlsStream::PeerSubject() const {
    const X509* certificate = SSL_get0_peer_certificate(m_ssl.get());
    return certificate != nullptr ? NameText(X509_get_subject_name(certificate)) : "";
}

} // namespace httpclient::testing
