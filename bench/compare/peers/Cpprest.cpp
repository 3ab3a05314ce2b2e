// SPDX-License-Identifier: Apache-2.0
#include "../Peer.h"

#include <cpprest/http_client.h>

namespace {

class Cpprest : public Peer {
public:
    explicit Cpprest(const Target& target)
        : m_target(target), m_client("http://127.0.0.1:" + std::to_string(target.port)) {}
    bool Send() override {
        web::http::http_request request(m_target.body.empty() ? web::http::methods::GET
                                                              : web::http::methods::POST);
        request.set_request_uri(m_target.path);
        if (!m_target.token.empty())
            request.headers().add("x-access-token", m_target.token);
        if (!m_target.body.empty())
            request.set_body(m_target.body);
        web::http::http_response response = m_client.request(request).get();
        return response.status_code() == 200 && !response.extract_string(true).get().empty();
    }

private:
    Target m_target;
    web::http::client::http_client m_client;
};

} // namespace

std::unique_ptr<Peer> MakeCpprest(const Target& target) {
    return std::make_unique<Cpprest>(target);
}
