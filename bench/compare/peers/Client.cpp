// SPDX-License-Identifier: Apache-2.0
#include <stdexcept>
#include <utility>

#include <httpclient/Client.h>
#include <httpclient/Engine.h>

#include "../Peer.h"

namespace {

httpclient::Client ClientOf(const Target& target) {
    httpclient::ClientOptions options(target.Origin());
    if (target.tls) {
        options.tls(httpclient::TlsOptions().files(target.ca, target.certificate, target.key));
    }
    return httpclient::Client(std::move(options));
}

httpclient::Request RequestOf(const Target& target) {
    using httpclient::Method;
    httpclient::Request request(target.body.empty() ? Method::Get : Method::Post, target.path);
    if (!target.body.empty()) {
        request.body(target.body);
    }
    if (!target.token.empty()) {
        request.header("x-access-token", target.token);
    }
    return request;
}

class ClientPeer : public Peer {
public:
    explicit ClientPeer(const Target& target)
        : m_target(target), m_client(ClientOf(target)), m_request(RequestOf(target)) {
        // As with CHttpClient: all others begin with a new connection, too.
        httpclient::Engine::Shared().CloseIdleConnections();
    }
    bool Send() override {
        httpclient::Result result = m_client.Send(m_request);
        if (!result) {
            throw std::runtime_error(result.failure().message());
        }
        const int status = result->status();
        const std::string body = (*std::move(result)).body();
        return m_target.IsAnswer(status, body.size());
    }

private:
    Target m_target;
    httpclient::Client m_client;
    httpclient::Request m_request;
};

} // namespace

std::unique_ptr<Peer> MakeClient(const Target& target) {
    return std::make_unique<ClientPeer>(target);
}
