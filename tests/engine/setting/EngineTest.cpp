// SPDX-License-Identifier: Apache-2.0
#include "setting/EngineTest.h"

Request Get(const std::string& target) {
    return {Method::Get, target};
}

Request Post(const std::string& body, const std::string& target) {
    return Request(Method::Post, target).body(body);
}

ClientOptions OptionsFor(const std::string& origin) {
    return ClientOptions(origin).timeout(LONG).connectTimeout(LONG);
}

ClientOptions OptionsFor(const kit::LoopbackServer& server) {
    return OptionsFor(server.url(""));
}

kit::LoopbackServer::Handler Always(const std::string& body) {
    return [body](const kit::RecordedRequest&) { return kit::Respond(200, {}, body); };
}

kit::TlsOptions ServerTls(const kit::CertificateAuthority& ca) {
    kit::TlsOptions tls;
    tls.identity = ca.IssueServer();
    tls.clientCertificate = kit::ClientCertificate::Ignore;
    return tls;
}
