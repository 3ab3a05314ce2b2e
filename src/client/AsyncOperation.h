// SPDX-License-Identifier: Apache-2.0
/// @file
/// The worker of an asynchronous send.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include <signal.h>
#include <sys/time.h>

#include <curl/curl.h>

#include <httpclient/Export.h>

#include "support/ExitGate.h"

class CHttpConnection;
class CHttpResponse;

/// What a worker is given, and owns from its first moment: the record itself, the header list, and the
/// connection, which it gives back.
struct HTTPCLIENT_EXPORT AsyncOperationArgs {
    bool bSSL = false;
    const char* pszCaInfo = nullptr; ///< CA bundle to verify the server with; null: it is not verified.
    CURL* curl = nullptr;            ///< Null for a verb that cannot be sent.
    CURLM* mcurl = nullptr;
    curl_slist* ptrSList = nullptr; ///< May be null.
    CHttpConnection* ptrHttpConn = nullptr;
    void (*pfnCallback)(const CHttpResponse&) = nullptr;
    std::string strContent{}; ///< The body: libcurl refers to it, so it lives as long as the transfer.
    /// Made before the worker is, which must not fail for want of its memory. When null, the
    /// worker makes one.
    std::shared_ptr<CHttpResponse> response{};
};

/// The record of a worker that a send starts.
struct WorkerArgs : AsyncOperationArgs {
    WorkerArgs() = default;
    /// Wipes the body, which may hold a secret.
    ~WorkerArgs();
    WorkerArgs(const WorkerArgs&) = delete;
    WorkerArgs& operator=(const WorkerArgs&) = delete;

    sigset_t callersSignals{}; ///< What the caller has blocked: the caller's function is called so, too.
    std::optional<ExitGate::FirstStep> firstStep; ///< The worker's, which it ends.
};

/// As DoAsyncOperation(), for the record of a send.
/// @param args a WorkerArgs made with new, which is deleted here.
void* RunWorker(void* args);

/// Runs one transfer, calls the caller's function with the response, and gives the connection back.
/// @param args an AsyncOperationArgs made with new, which is deleted here.
/// @return null.
HTTPCLIENT_EXPORT void* DoAsyncOperation(void* args);

/// Turns milliseconds into a wait, deliberately capped: 2 s or more become 1 s.
/// @param ms a negative number leaves @p tv untouched.
/// @param[in,out] tv from 2 s up only tv_sec is written.
HTTPCLIENT_EXPORT void InitTimeStruct(long ms, timeval& tv);
