// SPDX-License-Identifier: Apache-2.0
/// @file
/// A client before a server that misbehaves.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include <httpclient/HttpClient.h>
#include <httpclient/HttpOperationType.h>
#include <httpclient/testing/LoopbackServer.h>

#include "setting/TlsSetting.h"

/// How a request comes to the server.
enum class Way {
    Fresh,        ///< synchronous, on a new TCP connection
    Kept,         ///< synchronous, on a connection that has served a request
    TlsFresh,     ///< the same over TLS
    TlsKept,      ///< the same over TLS
    Asynchronous, ///< asynchronous, on a new connection
};

/// Ends each test with the pool in order: one connection per address, every one given back.
class GateTest : public ::testing::Test {
protected:
    GateTest();
    ~GateTest() override;

    /// What came of a request.
    struct Outcome {
        int result = 0;
        std::string body;
        int error = 0;       ///< libcurl's number, as the log has it, of a synchronous request that failed
        std::string failure; ///< what the response says of it, under the STRICT profile
    };

    static bool IsTls(Way way) { return way == Way::TlsFresh || way == Way::TlsKept; }
    static bool IsKept(Way way) { return way == Way::Kept || way == Way::TlsKept; }

    /// Sends a request.
    Outcome Send(Way way, HTTPOPERATIONTYPE verb = HTTPOPERATION_GET, const std::string& content = "");
    /// Sends a request that is given up soon, for no answer comes.
    Outcome SendUntilTimeout(Way way);
    /// Points the client at an address, over TLS where the way says so.
    void PointAt(const std::string& address, int port, Way way);
    void PointAt(const httpclient::testing::LoopbackServer& server, Way way);
    bool IsStrict() const { return m_client.getTransferProfile() == HTTPTRANSFERPROFILE_STRICT; }
    /// Expects a request to have failed. @param error libcurl's number. @param failure under the STRICT profile.
    void ExpectFailure(const Outcome& outcome, Way way, int error, const std::string& failure) const;
    /// Sends two requests that have to work.
    void ExpectNextToWork(Way way);

    TlsSetting m_tls;
    CHttpClient m_client;
};

/// @return a sound answer.
httpclient::testing::Reply Sound();
