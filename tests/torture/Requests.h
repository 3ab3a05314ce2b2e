// SPDX-License-Identifier: Apache-2.0
/// @file
/// What the scenarios send, and how the next request is seen to work.
#pragma once

#include <string>

#include <httpclient/HttpOperationType.h>
#include <httpclient/testing/LoopbackServer.h>
#include <httpclient/testing/TlsLoopbackServer.h>

class CHttpRequest;

inline const std::string SECRET_HEADER = "a-secret-that-stands-in-a-header-entry";
inline const std::string SECRET_COOKIE = "a-secret-that-stands-in-the-cookie";
inline const std::string SECRET_OF_PROXY = "a-secret-that-is-the-password-of-a-proxy";
inline const std::string SECRET_BODY = "a-secret-that-stands-in-the-body";
inline const std::string ANSWER = "an answer that is longer than a short string";

/// @return a verb's name.
std::string NameOf(HTTPOPERATIONTYPE verb);
/// Gives a request something of everything.
void Fill(CHttpRequest& request, HTTPOPERATIONTYPE verb);
/// Answers with ANSWER.
httpclient::testing::Reply AnswerAll(const httpclient::testing::RecordedRequest& request);
/// @return how a TLS server works whose sessions are not kept: libcurl 7.88 corrupts the heap when memory
/// runs out while it keeps one.
httpclient::testing::TlsOptions WithoutResumption(httpclient::testing::TlsOptions options);
/// Sends a request to a server and expects its answer.
void ExpectNextToWork(const httpclient::testing::LoopbackServer& server, bool bSSL);
