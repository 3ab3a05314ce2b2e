// SPDX-License-Identifier: Apache-2.0
// The programs and scripts that the documents show do what the documents say.
#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>

#include <sys/types.h>

#include <gtest/gtest.h>
#include <json/json.h>

#include <httpclient/testing/Environment.h>
#include <httpclient/testing/FakeTokenService.h>
#include <httpclient/testing/Files.h>
#include <httpclient/testing/TlsLoopbackServer.h>

#include "examples/tests/Run.h"
#include "tests/support/Pattern.h"

using namespace httpclient::testing;

namespace {

Reply AnswerAll(const RecordedRequest& request) {
    return request.method == "HEAD" ? RespondHead(200, {{"Content-Length", "6"}})
                                    : Respond(200, {}, "answer");
}

bool Contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

std::string Program(const std::string& name) {
    return EXAMPLE_PROGRAMS "/docs_" + name + " ";
}

std::string Script(const std::string& name) {
    return ". " EXAMPLE_SCRIPTS "/" + name;
}

/// A directory with the TLS root that the documents have one make.
class TlsExample : public ::testing::Test {
protected:
    void SetUp() override {
        const examples::Ran ran = Run(Script("tls-root.sh"));
        ASSERT_EQ(ran.exitCode, 0) << ran.output;
        EXPECT_TRUE(Contains(ran.output, "the certificate chains to a trusted authority")) << ran.output;
    }

    /// What a shell is told first to run a command in the directory.
    std::string Begin() const {
        return "cd " + m_directory.path().string() +
               " && PATH=" TOOLS ":$PATH && exec 2>&1 && "
               "export VORN_KEY_FILE=$PWD/master.key SSL_ROOT=$PWD/tls-root && ";
    }
    examples::Ran Run(const std::string& command) const {
        return examples::Run("sh -c '" + Begin() + command + "'");
    }
    std::string TextOf(const std::string& fileName) const { return ReadFile(m_directory.path() / fileName); }
    /// How a server does TLS with the files laid out for it.
    TlsOptions ServersTls() const {
        TlsOptions options;
        options.identity = {TextOf("tls-root/test-server/server.cer"),
                            TextOf("tls-root/test-server/server_key.pem")};
        options.clientCaPem = TextOf("tls-root/test-server/trust.cer");
        return options;
    }

private:
    TemporaryDirectory m_directory;
};

/// The server that the documents have one start, on a port that the kernel picks.
class TlsServer {
public:
    explicit TlsServer(const std::string& begin)
        : m_output(popen(
              ("exec sh -c 'echo $$ && " + begin + "set -- 0 && " + Script("tls-server.sh") + "'").c_str(),
              "r")) {
        m_pid = std::atoi(Line().c_str());
        const std::string place = Line(); // https://127.0.0.1:<port>
        if (place.rfind("https://", 0) == 0) {
            m_port = place.substr(place.rfind(':') + 1);
        } else {
            ADD_FAILURE() << "the server said: " << place;
        }
    }
    ~TlsServer() {
        if (m_pid > 0) {
            kill(m_pid, SIGTERM);
        }
        pclose(m_output);
    }
    TlsServer(const TlsServer&) = delete;
    TlsServer& operator=(const TlsServer&) = delete;

    /// The port, with a line feed; "" when the server did not start.
    const std::string& Port() const { return m_port; }

private:
    std::string Line() {
        std::array<char, 512> buffer;
        return std::fgets(buffer.data(), buffer.size(), m_output) != nullptr ? buffer.data() : "";
    }

    std::FILE* m_output;
    pid_t m_pid = 0;
    std::string m_port;
};

} // namespace

TEST(Example, OfAnAsynchronousSendPrintsTheAnswer) {
    const LoopbackServer server(AnswerAll);
    const examples::Ran ran = examples::Run(Program("async") + std::to_string(server.port()));
    EXPECT_EQ(ran.exitCode, 0);
    EXPECT_EQ(ran.output, "answer\n200\n");
    ASSERT_EQ(server.requests().size(), 1U);
    EXPECT_EQ(server.requests()[0].target, "/echo?name=value");
}

TEST(Example, OfTheStrictProfileTellsWhyItFailed) {
    const LoopbackServer server(AnswerAll);
    const examples::Ran ran = examples::Run(Program("strict") + std::to_string(server.port()));
    EXPECT_EQ(ran.exitCode, 0);
    EXPECT_EQ(ran.output, ""); // what it says goes to standard error
    ASSERT_EQ(server.requests().size(), 1U);
    EXPECT_EQ(server.requests()[0].Header("User-Agent"), "libhttpclient") << "over the engine";
}

TEST(Example, OfAnObserverPassesTheTraceOn) {
    const LoopbackServer server(AnswerAll);
    const std::string trace = "00-4bf92f3577b34da6a3ce929d0e0e4736-";
    const std::string span = "00f067aa0ba902b7";
    const examples::Ran ran =
        examples::Run(Program("traceparent") + "http://" + server.authority() + " " + trace + span + "-01");
    EXPECT_EQ(ran.output, "200\n");
    ASSERT_EQ(server.requests().size(), 1U);
    const std::string sent = server.requests()[0].Header("traceparent").value_or("");
    EXPECT_TRUE(Pattern(trace + "[0-9a-f]{16}-01").IsAllOf(sent)) << sent;
    EXPECT_FALSE(Contains(sent, span)) << "the span is a new one";
    EXPECT_EQ(examples::Run(Program("traceparent") + "http://" + server.authority()).output, "200\n");
    EXPECT_EQ(server.requests()[1].Header("traceparent"), std::nullopt) << "there is none to pass on";
}

TEST(Example, OfAnObserverWritesAJsonLineForEachCall) {
    const LoopbackServer server(AnswerAll);
    const auto lineOf = [](const std::string& origin) {
        const examples::Ran ran = examples::Run(Program("jsonlines") + origin);
        EXPECT_EQ(std::count(ran.output.begin(), ran.output.end(), '\n'), 1) << ran.output;
        Json::Value line;
        std::istringstream(ran.output) >> line;
        EXPECT_GT(line["milliseconds"].asDouble(), 0);
        line.removeMember("milliseconds");
        Json::StreamWriterBuilder format;
        format["indentation"] = "";
        return Json::writeString(format, line);
    };
    const std::string origin = "http://" + server.authority();
    EXPECT_EQ(lineOf(origin), R"({"attempts":1,"method":"GET","origin":")" + origin +
                                  R"(","path":"/orders/4711","route":"/orders/{id}","status":200})");
    EXPECT_EQ(lineOf("http://127.0.0.1:1"),
              R"({"attempts":1,"failure":"Connect","method":"GET","origin":"http://127.0.0.1:1",)"
              R"("path":"/orders/4711","phase":"Connect","route":"/orders/{id}"})");
}

TEST(Example, OfGuardsKeepsThem) {
    const LoopbackServer server(AnswerAll);
    const examples::Ran ran = examples::Run(Program("guards") + std::to_string(server.port()));
    EXPECT_EQ(ran.exitCode, 0);
    EXPECT_EQ(ran.output, "answer\nall answered\n");
    const auto requests = server.requests();
    ASSERT_EQ(requests.size(), 4U);
    EXPECT_EQ(requests[0].target, "/echo?name=Zo%C3%AB");
    EXPECT_EQ(requests[0].Header("X-Name"), "Zo\xc3\xab");
    EXPECT_EQ(requests[1].Header("X-Request-Id"), "order-4711");
    EXPECT_EQ(requests[1].Header("Connection"), "close");
    EXPECT_EQ(requests[2].method, "HEAD");
    EXPECT_EQ(requests[3].method, "GET");
    EXPECT_EQ(requests[3].Header("X-Name"), std::nullopt);
    EXPECT_NE(requests[2].connection, requests[0].connection);
    EXPECT_NE(requests[3].connection, requests[2].connection);
}

TEST(Example, OfAHostSendsOnThreadsAndEnds) {
    const LoopbackServer server(AnswerAll);
    const std::string port = std::to_string(server.port());
    const examples::Ran ran = examples::Run(Program("host") + port);
    EXPECT_EQ(ran.exitCode, 0);
    EXPECT_EQ(ran.output, "200 connections per address\n200 on a thread\n200 on a thread\n200 on a thread\n"
                          "200 on a thread\n");
    const examples::Ran asynchronous = examples::Run(Program("host") + port + " asynchronously");
    EXPECT_EQ(asynchronous.exitCode, 0);
    EXPECT_TRUE(Contains(asynchronous.output, "200 from a worker\n")) << asynchronous.output;
}

TEST_F(TlsExample, ReachesTheServerThatTheDocumentsStart) {
    const TlsServer server(Begin());
    const examples::Ran ran = Run(Program("tls") + server.Port());
    EXPECT_EQ(ran.exitCode, 0) << ran.output;
    EXPECT_TRUE(Contains(ran.output, "200\n")) << ran.output;
}

TEST_F(TlsExample, PresentsItsCertificate) {
    const TlsLoopbackServer server(AnswerAll, ServersTls());
    const examples::Ran ran = Run(Program("tls") + std::to_string(server.port()));
    EXPECT_EQ(ran.exitCode, 0);
    EXPECT_EQ(ran.output, "200\nanswer\n");
    ASSERT_EQ(server.subjects().size(), 1U);
    EXPECT_NE(server.subjects()[0], "");
}

TEST_F(TlsExample, WithServiceIdentityCarriesAToken) {
    const std::string address = ProcessLoopbackAddress();
    FakeTokenService tokens(ServersTls(), address);
    tokens.SetTokens("BillingService", {"the token"});
    const TlsLoopbackServer server(AnswerAll, ServersTls());
    const examples::Ran ran =
        Run("export OVEX_MAINTENANCE_IP=" + address + " && " + Script("identity.sh") + " && " +
            Program("tls") + std::to_string(server.port()) + " /rest/billing/v1/bills");
    EXPECT_EQ(ran.exitCode, 0) << ran.output;
    EXPECT_TRUE(Contains(ran.output, "200\nanswer\n")) << ran.output;
    ASSERT_EQ(server.requests().size(), 1U);
    EXPECT_EQ(server.requests()[0].Header("x-access-token"), "the token");
    ASSERT_EQ(tokens.exchanges().size(), 1U);
    EXPECT_EQ(tokens.exchanges()[0].jwt, "header.payload.signature");
}

TEST(Example, OfAClientTakesTheAnswersAndTheDownload) {
    const LoopbackServer server(AnswerAll);
    const examples::Ran ran =
        examples::Run(Program("client") + "http://127.0.0.1:" + std::to_string(server.port()));
    EXPECT_EQ(ran.exitCode, 0);
    EXPECT_EQ(ran.output, "answer\nanswer\nanswer\n");
    ASSERT_EQ(server.requests().size(), 3U);
    EXPECT_EQ(server.requests()[0].target, "/orders?number=47%2F11");
    EXPECT_EQ(server.requests()[1].target, "/orders?number=47%2F11") << "asynchronously";
    EXPECT_EQ(server.requests()[2].connection, server.requests()[0].connection);
}

TEST_F(TlsExample, OfAClientWithMaterialOfItsOwnPresentsIt) {
    const TlsLoopbackServer server(AnswerAll, ServersTls());
    const examples::Ran ran = Run(
        Program("client") + "unused 127.0.0.1:" + std::to_string(server.port()) +
        " tls-root/internal/trust.cer tls-root/test-server/server.cer tls-root/test-server/server_key.pem");
    EXPECT_EQ(ran.exitCode, 0) << ran.output;
    EXPECT_EQ(ran.output, "answer\n");
    ASSERT_EQ(server.requests().size(), 1U);
    EXPECT_EQ(server.requests()[0].Header("Host"), "partner.example");
    EXPECT_EQ(server.subjects().size(), 1U);
}

TEST_F(TlsExample, OfNewCodeReachesTheServerWithThePlatformsCertificate) {
    const TlsLoopbackServer server(AnswerAll, ServersTls());
    const examples::Ran ran = Run(SECOND_PROGRAM " https://localhost:" + std::to_string(server.port()));
    EXPECT_EQ(ran.exitCode, 0) << ran.output;
    EXPECT_EQ(ran.output, "200\nanswer\n");
    ASSERT_EQ(server.subjects().size(), 1U);
    EXPECT_NE(server.subjects()[0], "");
}
