// SPDX-License-Identifier: Apache-2.0
#include <boost/asio/ssl.hpp>
#include <cpprest/http_client.h>

#include "../Peer.h"

namespace {

web::http::client::http_client_config ConfigurationOf(const Target& target) {
    web::http::client::http_client_config configuration;
    configuration.set_ssl_context_callback([target](boost::asio::ssl::context& context) {
        context.load_verify_file(target.ca);
        context.use_certificate_chain_file(target.certificate);
        context.use_private_key_file(target.key, boost::asio::ssl::context::pem);
    });
    return configuration;
}

class Cpprest : public Peer {
public:
    explicit Cpprest(const Target& target)
        : m_target(target), m_client(target.Origin(), ConfigurationOf(target)) {}
    bool Send() override {
        web::http::http_request request(m_target.body.empty() ? web::http::methods::GET
                                                              : web::http::methods::POST);
        request.set_request_uri(m_target.path);
        if (!m_target.token.empty()) {
            request.headers().add("x-access-token", m_target.token);
        }
        if (!m_target.body.empty()) {
            request.set_body(m_target.body);
        }
        web::http::http_response response = m_client.request(request).get();
        return m_target.IsAnswer(response.status_code(), response.extract_string(true).get().size());
    }

private:
    Target m_target;
    web::http::client::http_client m_client;
};

} // namespace

std::unique_ptr<Peer> MakeCpprest(const Target& target) {
    return std::make_unique<Cpprest>(target);
}
