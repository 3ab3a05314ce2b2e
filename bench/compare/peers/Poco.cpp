// SPDX-License-Identifier: Apache-2.0
#include <Poco/Net/Context.h>
#include <Poco/Net/HTTPRequest.h>
#include <Poco/Net/HTTPResponse.h>
#include <Poco/Net/HTTPSClientSession.h>
#include <Poco/StreamCopier.h>

#include "../Peer.h"

namespace {

std::unique_ptr<Poco::Net::HTTPClientSession> SessionOf(const Target& target) {
    using Poco::Net::Context;
    if (!target.tls) {
        return std::make_unique<Poco::Net::HTTPClientSession>("127.0.0.1", target.port);
    }
    Context::Ptr context =
        new Context(Context::CLIENT_USE, target.key, target.certificate, target.ca, Context::VERIFY_RELAXED);
    context->enableExtendedCertificateVerification(false); // the server's name
    return std::make_unique<Poco::Net::HTTPSClientSession>("127.0.0.1", target.port, context);
}

class PocoPeer : public Peer {
public:
    explicit PocoPeer(const Target& target) : m_target(target), m_session(SessionOf(target)) {
        m_session->setKeepAlive(true);
        m_session->setKeepAliveTimeout(Poco::Timespan(60, 0));
    }
    bool Send() override {
        const bool get = m_target.body.empty();
        Poco::Net::HTTPRequest request(get ? "GET" : "POST", m_target.path, "HTTP/1.1");
        request.setKeepAlive(true);
        if (!m_target.token.empty()) {
            request.set("x-access-token", m_target.token);
        }
        if (!get) {
            request.setContentLength(static_cast<std::streamsize>(m_target.body.size()));
        }
        m_session->sendRequest(request) << m_target.body;
        Poco::Net::HTTPResponse response;
        std::string body;
        Poco::StreamCopier::copyToString(m_session->receiveResponse(response), body);
        return m_target.IsAnswer(response.getStatus(), body.size());
    }

private:
    Target m_target;
    std::unique_ptr<Poco::Net::HTTPClientSession> m_session;
};

} // namespace

std::unique_ptr<Peer> MakePoco(const Target& target) {
    return std::make_unique<PocoPeer>(target);
}
