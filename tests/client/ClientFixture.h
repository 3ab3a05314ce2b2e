// SPDX-License-Identifier: Apache-2.0
/// @file
/// What tests of the client room share.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <httpclient/HttpClient.h>
#include <httpclient/HttpOperationType.h>
#include <httpclient/HttpRequest.h>
#include <httpclient/HttpResponse.h>
#include <httpclient/testing/LoopbackServer.h>

#include "client/HttpClientImp.h"

class CHttpConnection;

/// Starts each test with an empty log and no pool, and ends the pool after it.
class ClientTest : public ::testing::Test {
protected:
    ClientTest();
    ~ClientTest() override;
};

/// @return the messages that this thread has logged so far, in order, as in "[5] text": those of this
///         level and above.
std::vector<std::string> OwnMessages(int lowestLevel);

/// Compares what the first road logs. Under the STRICT profile there are lines of the engine's instead, whatever
/// they say.
void ExpectLogged(const std::vector<std::string>& messages, const std::vector<std::string>& expected);

/// Points a client, or a client's implementation, at a server.
template <class Client> void PointAt(Client& client, const httpclient::testing::LoopbackServer& server) {
    client.setDomain(server.address());
    client.setPort(server.port());
}

/// @return a client's implementation, for what no operation tells.
inline CHttpClientImp& ImpOf(CHttpClient& client) {
    return static_cast<CHttpClientImp&>(*client.m_pImp);
}

/// @return a request.
std::unique_ptr<CHttpRequest> MakeRequest(HTTPOPERATIONTYPE verb, const std::string& path = "/");

/// @return the connection that the pool lends next for an address; it is given back at once.
CHttpConnection* NextConnection(const std::string& domain, int port, bool bSSL = false);
/// @return the same for a server's address.
CHttpConnection* NextConnection(const httpclient::testing::LoopbackServer& server, bool bSSL = false);

/// @return how many connections an address has in the pool.
std::size_t PooledConnections(const httpclient::testing::LoopbackServer& server, bool bSSL = false);

/// @return a port of 127.0.0.1 that refuses connections.
std::uint16_t RefusingPort();

/// @return a handler that answers every request with status 200 and this body, a HEAD with its head alone.
httpclient::testing::LoopbackServer::Handler AnswerAll(const std::string& body);

/// @return the text with every @p from replaced by @p to.
std::string Replaced(std::string text, const std::string& from, const std::string& to);

/// A response as it was before a send, to see that the send left it alone.
class UntouchedResponse {
public:
    UntouchedResponse();
    CHttpResponse& get() { return m_response; }
    /// Fails the test if anything has changed.
    void ExpectUntouched() const;

private:
    CHttpResponse m_response;
};
