// SPDX-License-Identifier: Apache-2.0
/// @file
/// What the tests of TLS connections share.
#pragma once

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <httpclient/HttpClient.h>
#include <httpclient/HttpResponse.h>

#include "setting/Log.h"
#include "setting/TlsSetting.h"

/// Messages of the library.
namespace message {

constexpr const char* NO_CIPHER_TEXT = "[3] CHttpClientImp::CHttpsConnection, the enc text is null!";
constexpr const char* EXCEPTION = "[5] CHttpsConnection::GetCipherText, parse file catch an exception!";
/// That no password could be had.
std::string NoPlainText(int status);
/// That the manifest is not JSON.
std::string NotParsed(const std::string& root);
/// That a GET over TLS failed.
std::string GetFailed(int result);

} // namespace message

/// Starts each test with a TLS root in good order, an empty log and no pool.
class TlsTest : public ::testing::Test {
protected:
    TlsTest() { StartLog(); }

    /// Makes a connection. @return what it logged.
    static Lines Connect();

    TlsSetting m_tls;
};

/// Points a client at a server of whatever kind, over HTTPS.
template <class Server> void PointAt(CHttpClient& client, const Server& server) {
    client.setScheme("https");
    client.setDomain(server.address());
    client.setPort(server.port());
}
/// Sends a GET over TLS. @return the status, or -1.
int Get(CHttpClient& client, CHttpResponse& response, const std::string& path = "/");
