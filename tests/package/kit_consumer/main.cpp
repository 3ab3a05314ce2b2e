// SPDX-License-Identifier: Apache-2.0
// A service's own test: no network, and nothing of the library replaced.
#include <cstdio>
#include <string>

#include <httpclient/HttpClientWrap.h>
#include <httpclient/HttpConnectionMgr.h>
#include <httpclient/HttpRequest.h>
#include <httpclient/HttpResponse.h>
#include <httpclient/testing/Certificates.h>
#include <httpclient/testing/Environment.h>
#include <httpclient/testing/FakeTokenService.h>
#include <httpclient/testing/LoopbackServer.h>
#include <httpclient/testing/RecordingTrace.h>
#include <httpclient/testing/TlsLoopbackServer.h>
#include <httpclient/testing/TlsRoot.h>

using namespace httpclient::testing;

namespace {

bool g_passed = true;

void Expect(const std::string& what, bool holds) {
    std::printf("%s: %s\n", holds ? "ok" : "NOT SO", what.c_str());
    g_passed = g_passed && holds;
}

int Get(const LoopbackServer& server, bool tls, const std::string& path, CHttpResponse& response) {
    const auto client = HttpClientWrap::MakeClientPtr(server.address(), 10, 30, server.port(), tls);
    CHttpRequest request;
    request.setVerb(HTTPOPERATION_GET);
    request.setUrlPath(path);
    return client->synSendRequest(request, response, tls);
}

} // namespace

int main() {
    ClearProxyEnvironment();

    // Certificates for a server and for this process, and the TLS root that the library reads.
    const CertificateAuthority authority;
    const TlsRoot root(authority.certificatePem(), authority.IssueClient("service"), "", "");
    const ScopedEnvironment sslRoot("SSL_ROOT", root.path());
    const TlsOptions tls{authority.IssueServer(), authority.certificatePem()};

    // Service identity: what it reads, and a token service at the maintenance address.
    const TemporaryDirectory application;
    application.Write("etc/authconf/jwt/service_url_config.json",
                      R"({"/guarded": {"type": "sia", "service": "orders"}})");
    application.Write("etc/authconf/jwt/jwt_service.json", R"({"jwt": "a.b.c"})");
    const ScopedEnvironment appRoot("APP_ROOT", application.path());
    const ScopedEnvironment appName("APP_NAME", "service");
    const ScopedEnvironment identity("enableServiceIdentity", "true");
    const ScopedEnvironment maintenance("OVEX_MAINTENANCE_IP", ProcessLoopbackAddress());
    FakeTokenService tokens(tls, ProcessLoopbackAddress());
    tokens.SetTokens("orders", {"token-1"});

    const LoopbackServer plain(ReplyScript({Respond(200, {}, "hello")}));
    CHttpResponse hello;
    Expect("a plain request is answered", Get(plain, false, "/", hello) == 200);
    Expect("with the scripted body", hello.getResponseBody() == "hello");
    Expect("and was recorded", plain.requests().at(0).raw.rfind("GET / HTTP/1.1\r\n", 0) == 0);

    const TlsLoopbackServer secure(ReplyScript({Respond(404)}), tls);
    CHttpResponse missing;
    Expect("a guarded request over TLS is answered", Get(secure, true, "/guarded", missing) == 404);
    Expect("shows the client's certificate", secure.requests().at(0).peerSubject == "CN=service");
    Expect("carries the token", secure.requests().at(0).Header("x-access-token") == "token-1");
    Expect("for which the token service was asked once", tokens.exchangesFor("orders") == 1);

    const std::string nowhere; // refused with a message
    const auto client = HttpClientWrap::MakeClientPtr(nowhere, 10, 30, 80, false);
    Expect("what the library logs is recorded",
           TraceRecorder::Instance().Count(5, "HTTP setDomain failed, strDomain is empty.") == 1);

    CHttpConnectionMgr::Finalize();
    return g_passed ? 0 : 1;
}
