// SPDX-License-Identifier: Apache-2.0
/// @file
/// The same requests on both roads, and what goes over the wire.
#pragma once

#include <memory>
#include <string>

#include <httpclient/HttpClient.h>
#include <httpclient/HttpResponse.h>
#include <httpclient/HttpTransferProfile.h>
#include <httpclient/Result.h>
#include <httpclient/testing/LoopbackServer.h>

#include "AsynFixture.h"

/// A test of the STRICT profile: the engine keeps idle connections as long as it does by default.
class StrictTest : public AsynTest {
protected:
    StrictTest();
};

/// A client over the engine.
class StrictClient : public CHttpClient {
public:
    StrictClient() { setTransferProfile(HTTPTRANSFERPROFILE_STRICT); }
    explicit StrictClient(const httpclient::testing::LoopbackServer& server) : StrictClient() {
        PointAt(*this, server);
    }
};

/// @return what a response says of its failure: "kind in phase"; "none".
std::string FailureOf(const CHttpResponse& response);

/// What an asynchronous send over the engine reported.
struct StrictOutcome {
    int status = 0;
    std::string body;
    std::string failure;
};

/// Sends asynchronously over the engine and waits for the callback.
StrictOutcome SendAndWait(const CHttpClient& client, const CHttpRequest& request, bool bSSL = false);

/// One client and one server; what goes between them is written down.
class Conversation {
public:
    Conversation(HTTPTRANSFERPROFILE profile, httpclient::testing::LoopbackServer::Handler handler);
    /// With a server of another kind.
    Conversation(HTTPTRANSFERPROFILE profile, std::unique_ptr<httpclient::testing::LoopbackServer> server);

    CHttpClient& client() { return m_client; }
    httpclient::testing::LoopbackServer& server() { return *m_server; }
    const std::string& text() const { return m_text; }
    void Note(const std::string& line) { m_text += line + "\n"; }

    /// Sends synchronously and writes down requests and result.
    void Send(const CHttpRequest& request, bool bSSL = false);
    /// The same, and writes down the head, too.
    void SendForHead(const CHttpRequest& request);
    /// Sends asynchronously, and the same.
    void AsynSend(const CHttpRequest& request, bool bSSL = false);

private:
    void WriteRequests(std::size_t before);
    void WriteOutcome(const std::string& what, int status, const std::string& body,
                      const std::string& failure);

    std::unique_ptr<httpclient::testing::LoopbackServer> m_server;
    CHttpClient m_client;
    std::string m_text;
};

/// Holds the same conversation on both roads, and compares it with a page of docs/.
/// @param name of the file below tests/docs/data, without "strict-".
/// @param talk what is said. @param handler what the server answers.
void ExpectBothRoads(const std::string& name, const httpclient::testing::LoopbackServer::Handler& handler,
                     const std::function<void(Conversation&)>& talk);
void ExpectBothRoads(const std::string& name,
                     const std::function<std::unique_ptr<httpclient::testing::LoopbackServer>()>& makeServer,
                     const std::function<void(Conversation&)>& talk);
