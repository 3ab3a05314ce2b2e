// SPDX-License-Identifier: Apache-2.0
#include <stdexcept>

#include <libsoup/soup.h>

#include "../Peer.h"

namespace {

/// Throws what the library said.
void Check(GError* error) {
    if (error == nullptr) {
        return;
    }
    const std::string message = error->message;
    g_error_free(error);
    throw std::runtime_error(message);
}

/// Shows the client's certificate, which this library asks for when the server does.
struct ShowCertificate {
    GTlsInteraction parent;
    GTlsCertificate* certificate;
};
struct ShowCertificateClass {
    GTlsInteractionClass parent;
};
G_DEFINE_TYPE(ShowCertificate, show_certificate, G_TYPE_TLS_INTERACTION)

void show_certificate_init(ShowCertificate*) {}

void Finalize(GObject* object) {
    g_clear_object(&reinterpret_cast<ShowCertificate*>(object)->certificate);
    G_OBJECT_CLASS(show_certificate_parent_class)->finalize(object);
}

GTlsInteractionResult Show(GTlsInteraction* self, GTlsConnection* connection, GTlsCertificateRequestFlags,
                           GCancellable*, GError**) {
    g_tls_connection_set_certificate(connection, reinterpret_cast<ShowCertificate*>(self)->certificate);
    return G_TLS_INTERACTION_HANDLED;
}

void show_certificate_class_init(ShowCertificateClass* kind) {
    G_TLS_INTERACTION_CLASS(kind)->request_certificate = &Show;
    G_OBJECT_CLASS(kind)->finalize = &Finalize;
}

class Soup : public Peer {
public:
    explicit Soup(const Target& target)
        : m_target(target),
          m_session(soup_session_new_with_options(SOUP_SESSION_MAX_CONNS_PER_HOST, 1, nullptr)) {
        if (target.tls) {
            UseTls();
        }
    }
    ~Soup() override { g_object_unref(m_session); }
    bool Send() override {
        const bool get = m_target.body.empty();
        SoupMessage* message = soup_message_new(get ? "GET" : "POST", m_target.Url().c_str());
        if (!m_target.token.empty()) {
            soup_message_headers_append(message->request_headers, "x-access-token", m_target.token.c_str());
        }
        if (!get) {
            soup_message_set_request(message, "text/plain", SOUP_MEMORY_STATIC, m_target.body.data(),
                                     m_target.body.size());
        }
        const unsigned int status = soup_session_send_message(m_session, message);
        const std::string body(message->response_body->data,
                               static_cast<size_t>(message->response_body->length));
        g_object_unref(message);
        return m_target.IsAnswer(status, body.size());
    }

private:
    void UseTls() {
        GError* error = nullptr;
        GTlsDatabase* trusted = g_tls_file_database_new(m_target.ca.c_str(), &error);
        Check(error);
        auto* show = static_cast<ShowCertificate*>(g_object_new(show_certificate_get_type(), nullptr));
        show->certificate =
            g_tls_certificate_new_from_files(m_target.certificate.c_str(), m_target.key.c_str(), &error);
        Check(error);
        g_object_set(m_session, SOUP_SESSION_TLS_DATABASE, trusted, SOUP_SESSION_TLS_INTERACTION, show,
                     nullptr);
        g_object_unref(show);
        g_object_unref(trusted);
    }

    Target m_target;
    SoupSession* m_session;
};

} // namespace

std::unique_ptr<Peer> MakeSoup(const Target& target) {
    return std::make_unique<Soup>(target);
}
