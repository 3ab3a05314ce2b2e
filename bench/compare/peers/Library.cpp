// SPDX-License-Identifier: Apache-2.0
#include <httpclient/HttpClient.h>
#include <httpclient/HttpConnectionMgr.h>
#include <httpclient/HttpRequest.h>
#include <httpclient/HttpResponse.h>

#include "../../cost/CachedToken.h"
#include "../Peer.h"

namespace {

class Library : public Peer {
public:
    Library(const Target& target, HTTPTRANSFERPROFILE profile) : m_target(target) {
        // The pool would lend the connection of the last round, while all others begin with a new one: one
        // that has lived longer costs the kernel more.
        CHttpConnectionMgr::Finalize();
        m_client.setTransferProfile(profile);
        m_client.setServerName("*"); // looked at under STRICT only
        m_client.setPort(target.port);
        m_client.setScheme(target.tls ? "https" : "http");
        m_request.setVerb(target.body.empty() ? HTTPOPERATION_GET : HTTPOPERATION_POST);
        m_request.setUrlPath(target.path);
        m_request.setContent(target.body);
        SwitchIdentity(!target.token.empty() && profile == HTTPTRANSFERPROFILE_COMPATIBLE);
        if (!target.token.empty() && profile == HTTPTRANSFERPROFILE_STRICT) {
            m_request.addRequestHeadEntry("x-access-token",
                                          target.token); // as the others; its store is the engine's
        }
    }
    bool Send() override {
        CHttpResponse response;
        const int status = m_client.synSendRequest(m_request, response, m_target.tls);
        return m_target.IsAnswer(status, response.getResponseBody().size());
    }

private:
    Target m_target;
    CHttpClient m_client;
    CHttpRequest m_request;
};

} // namespace

std::unique_ptr<Peer> MakeLibrary(const Target& target) {
    return std::make_unique<Library>(target, HTTPTRANSFERPROFILE_COMPATIBLE);
}

std::unique_ptr<Peer> MakeStrict(const Target& target) {
    return std::make_unique<Library>(target, HTTPTRANSFERPROFILE_STRICT);
}
