// SPDX-License-Identifier: Apache-2.0
#include "../Peer.h"

#include <libsoup/soup.h>

namespace {

class Soup : public Peer {
public:
    explicit Soup(const Target& target)
        : m_target(target),
          m_session(soup_session_new_with_options(SOUP_SESSION_MAX_CONNS_PER_HOST, 1, nullptr)) {}
    ~Soup() override { g_object_unref(m_session); }
    bool Send() override {
        const bool get = m_target.body.empty();
        SoupMessage* message = soup_message_new(get ? "GET" : "POST", m_target.Url().c_str());
        if (!m_target.token.empty())
            soup_message_headers_append(message->request_headers, "x-access-token", m_target.token.c_str());
        if (!get)
            soup_message_set_request(message, "text/plain", SOUP_MEMORY_STATIC, m_target.body.data(),
                                     m_target.body.size());
        const unsigned int status = soup_session_send_message(m_session, message);
        const std::string body(message->response_body->data,
                               static_cast<size_t>(message->response_body->length));
        g_object_unref(message);
        return status == 200 && !body.empty();
    }

private:
    Target m_target;
    SoupSession* m_session;
};

} // namespace

std::unique_ptr<Peer> MakeSoup(const Target& target) {
    return std::make_unique<Soup>(target);
}
