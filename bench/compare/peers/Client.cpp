// SPDX-License-Identifier: Apache-2.0
// The new door, synchronous and asynchronous.
#include <condition_variable>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <utility>

#include <httpclient/Client.h>
#include <httpclient/Engine.h>

#include "../../cost/CachedToken.h"
#include "../Peer.h"

namespace {

httpclient::Client ClientOf(const Target& target) {
    httpclient::ClientOptions options(target.Origin());
    if (target.tls) {
        options.tls(httpclient::TlsOptions().files(target.ca, target.certificate, target.key));
    }
    if (!target.token.empty()) {
        options.identity(httpclient::Identity::Platform);
    }
    return httpclient::Client(std::move(options));
}

httpclient::Request RequestOf(const Target& target) {
    using httpclient::Method;
    httpclient::Request request(target.body.empty() ? Method::Get : Method::Post, target.path);
    if (!target.body.empty()) {
        request.body(target.body);
    }
    return request;
}

class ClientPeer : public Peer {
public:
    explicit ClientPeer(const Target& target)
        : m_target(target), m_client(ClientOf(target)), m_request(RequestOf(target)) {
        // As with CHttpClient: all others begin with a new connection, too.
        httpclient::Engine::Shared().CloseIdleConnections();
        SwitchIdentity(!target.token.empty());
    }
    bool Send() override { return IsAnswer(m_client.Send(m_request)); }

protected:
    bool IsAnswer(httpclient::Result result) const {
        if (!result) {
            throw std::runtime_error(result.failure().message());
        }
        const int status = result->status();
        const std::string body = (*std::move(result)).body();
        return m_target.IsAnswer(status, body.size());
    }

    Target m_target;
    httpclient::Client m_client;
    httpclient::Request m_request;
};

/// Waits for each answer, which comes on a thread of the engine's.
class AsyncClientPeer final : public ClientPeer {
public:
    using ClientPeer::ClientPeer;
    bool Send() override {
        m_client.Start(m_request, [this](httpclient::Result result) {
            const std::lock_guard<std::mutex> lock(m_lock);
            m_result.emplace(std::move(result));
            m_ended.notify_one();
        });
        std::unique_lock<std::mutex> lock(m_lock);
        m_ended.wait(lock, [this] { return m_result.has_value(); });
        httpclient::Result result = std::move(*m_result);
        m_result.reset();
        return IsAnswer(std::move(result));
    }

private:
    std::mutex m_lock;
    std::condition_variable m_ended;
    std::optional<httpclient::Result> m_result;
};

} // namespace

std::unique_ptr<Peer> MakeClient(const Target& target) {
    return std::make_unique<ClientPeer>(target);
}

std::unique_ptr<Peer> MakeClientAsync(const Target& target) {
    return std::make_unique<AsyncClientPeer>(target);
}
