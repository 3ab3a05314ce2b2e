// SPDX-License-Identifier: Apache-2.0
#include "tests/support/Nginx.h"

#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include <httpclient/testing/Certificates.h>
#include <httpclient/testing/ResourceListener.h>

#include "tests/kit/tests/RawClient.h"

namespace httpclient::testing {

namespace {

std::string Get(const NginxServer& server, const std::string& path) {
    RawClient client(server.port(), server.address());
    client.Send("GET " + path + " HTTP/1.0\r\n\r\n");
    return client.ReceiveAll();
}

bool EndsWith(const std::string& text, const std::string& end) {
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

class Nginx : public ::testing::Test {
protected:
    void SetUp() override { SKIP_WITHOUT_NGINX(); }
};

} // namespace

TEST_F(Nginx, ServesWhatItsLocationsSay) {
    const NginxServer server("location /a { return 200 answer; }");
    EXPECT_TRUE(EndsWith(Get(server, "/a"), "\r\n\r\nanswer"));
    EXPECT_EQ(Get(server, "/b").substr(0, 12), "HTTP/1.1 404");
}

TEST_F(Nginx, AnswersAsSoonAsItIsThereAndNeverAfterwards) {
    Endpoint endpoint;
    {
        const NginxServer server("");
        endpoint = {server.address(), server.port()};
        EXPECT_TRUE(Answers(endpoint));
    }
    EXPECT_FALSE(Answers(endpoint));
}

TEST_F(Nginx, ListensWhereItIsTold) {
    const std::string address = ProcessLoopbackAddress();
    const std::uint16_t port = FreePorts(address, 1).front();
    const NginxServer server("", address, port);
    EXPECT_EQ(server.address(), address);
    EXPECT_EQ(server.port(), port);
}

TEST_F(Nginx, SpeaksTlsWithTheIdentityThatItIsGiven) {
    const CertificateAuthority authority;
    TlsOptions tls;
    tls.identity = authority.IssueServer();
    tls.clientCertificate = ClientCertificate::Ignore;
    const NginxServer server(tls, "");
    EXPECT_NE(Get(server, "/").find("The plain HTTP request was sent to HTTPS port"), std::string::npos);
}

TEST_F(Nginx, DoesNotComeUpWithABrokenConfiguration) {
    const std::size_t before = Resources::Now().descriptors;
    EXPECT_THROW(NginxServer("no such word;"), std::runtime_error);
    EXPECT_EQ(Resources::Now().descriptors, before);
}

TEST_F(Nginx, DoesNotComeUpWhereAnotherServerListens) {
    ServerOptions options;
    options.address = ProcessLoopbackAddress();
    const LoopbackServer other([](const RecordedRequest&) { return Respond(200); }, options);
    EXPECT_THROW(NginxServer("", other.address(), other.port()), std::runtime_error);
}

} // namespace httpclient::testing
