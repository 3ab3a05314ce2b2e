// SPDX-License-Identifier: Apache-2.0
#define CPPHTTPLIB_OPENSSL_SUPPORT
#include <httplib.h>

#include "../Peer.h"

namespace {

std::unique_ptr<httplib::Client> ClientOf(const Target& target) {
    if (!target.tls) {
        return std::make_unique<httplib::Client>(target.Origin());
    }
    auto client = std::make_unique<httplib::Client>(target.Origin(), target.certificate, target.key);
    client->set_ca_cert_path(target.ca);
    client->enable_server_certificate_verification(true);
    return client;
}

class Httplib : public Peer {
public:
    explicit Httplib(const Target& target) : m_target(target), m_client(ClientOf(target)) {
        m_client->set_keep_alive(true);
        m_client->set_tcp_nodelay(true);
        if (!target.token.empty()) {
            m_headers.emplace("x-access-token", target.token);
        }
    }
    bool Send() override {
        const auto result = m_target.body.empty()
                                ? m_client->Get(m_target.path, m_headers)
                                : m_client->Post(m_target.path, m_headers, m_target.body, "text/plain");
        return result && m_target.IsAnswer(result->status, result->body.size());
    }

private:
    Target m_target;
    httplib::Headers m_headers;
    std::unique_ptr<httplib::Client> m_client;
};

} // namespace

std::unique_ptr<Peer> MakeHttplib(const Target& target) {
    return std::make_unique<Httplib>(target);
}
