// SPDX-License-Identifier: Apache-2.0
// The caller's side of an asynchronous send. The worker's is in AsyncOperation.cpp.
#include <memory>
#include <utility>

#include <ace/OS_NS_Thread.h>

#include <httpclient/HttpRequest.h>
#include <httpclient/HttpResponse.h>

#include "client/AsyncOperation.h"
#include "client/ConnectionLoan.h"
#include "client/HttpClientImp.h"
#include "client/ResponseFill.h"
#include "client/SendParts.h"
#include "pool/HttpConnection.h"
#include "support/Cancellation.h"
#include "support/CurlOwners.h"
#include "support/SignalBlock.h"
#include "support/Trace.h"

namespace {

/// Answers a request that no worker was started for, on the caller's thread.
void AnswerFailure(void (*callback)(const CHttpResponse&)) {
    // What the caller's function throws stays with it.
    static_cast<void>(Contained([&] { callback(NoAnswer()); }));
}

/// Sets what the verb needs. @return whether the verb can be sent.
bool SetVerb(CURL* curl, HTTPOPERATIONTYPE verb, const std::string& content) {
    switch (verb) {
    case HTTPOPERATION_GET:
    case HTTPOPERATION_HEAD: // deliberately goes out as GET
        return true;
    case HTTPOPERATION_PUT:
        curl_easy_setopt(curl, CURLOPT_CUSTOMREQUEST, "PUT");
        curl_easy_setopt(curl, CURLOPT_POSTFIELDS, content.c_str());
        return true;
    case HTTPOPERATION_POST:
        curl_easy_setopt(curl, CURLOPT_POST, 1L);
        curl_easy_setopt(curl, CURLOPT_POSTFIELDS, content.c_str());
        return true;
    case HTTPOPERATION_DELETE:
        curl_easy_setopt(curl, CURLOPT_CUSTOMREQUEST, "DELETE");
        return true;
    default:
        return false;
    }
}

enum class WorkerStart {
    Done,   ///< The record is the worker's now, and all in it.
    Failed, ///< There is no thread to have.
    Refused ///< The process exits, so that a worker would never come to its callback.
};

/// Starts a detached worker.
WorkerStart StartWorker(WorkerArgs& record) {
    record.firstStep.emplace();
    if (!record.firstStep->Passed()) {
        return WorkerStart::Refused;
    }
    const SignalBlock block; // a signal delivered to the worker would end its wait, and with it the transfer
    record.callersSignals = block.Former();
    if (ACE_OS::thr_create(RunWorker, &record, THR_NEW_LWP | THR_DETACHED, nullptr) == 0) {
        return WorkerStart::Done;
    }
    record.firstStep.reset(); // the log, which is called next, may call exit()
    return WorkerStart::Failed;
}

} // namespace

void CHttpClientImp::asynSendRequest(const CHttpRequest& request, void (*callback)(const CHttpResponse&),
                                     bool bSSL) {
    const BlockWithinHandler block;
    if (m_strDomain.empty()) {
        AnswerFailure(callback);
        Trace<LogMessage::AsynSendDomainEmpty>();
        return;
    }
    Trace<LogMessage::AsynSendBegin>();
    bool connected = true;
    const bool prepared = Contained([&] {
        // Deliberate: always a TLS connection of the pool, whatever bSSL says.
        ConnectionReturn conn(
            WaitForConnection(m_strDomain, m_nPort, true, LogMessage::AsynSendNoIdleConnection));
        if (conn.get() == nullptr) {
            const int size = getConnPoolSize();
            AnswerFailure(callback);
            Trace<LogMessage::AsynSendNoConnection>(size);
            connected = false;
            return;
        }
        AsynSendOnConnection(request, callback, bSSL, conn);
    });
    if (!prepared) {
        Trace<LogMessage::AsynSendException>();
        AnswerFailure(callback); // memory is exhausted
    }
    if (connected) {
        Trace<LogMessage::AsynSendEnd>();
    }
}

void CHttpClientImp::AsynSendOnConnection(const CHttpRequest& request, void (*callback)(const CHttpResponse&),
                                          bool bSSL, ConnectionReturn& conn) {
    CURL* easy = conn.get()->GetCurl();
    std::string url = GetUrl(request);
    Trace<LogMessage::AsynSendUrl>(url.c_str());

    // Deliberate: the request's own body is not consulted.
    SendParts parts(request, std::move(url), OwnBody::Ignored);

    // Deliberate: the reset takes the TLS options with it that the connection was made with.
    if (easy != nullptr) {
        curl_easy_reset(easy);
    }
    curl_easy_setopt(easy, CURLOPT_URL, parts.url.c_str());
    CurlSlistPtr list(AppendSlist(request));
    if (list) {
        curl_easy_setopt(easy, CURLOPT_HTTPHEADER, list.get());
    }

    auto record = std::make_unique<WorkerArgs>();
    record->bSSL = bSSL;
    record->ptrSList = list.get();
    record->ptrHttpConn = conn.get();
    record->mcurl = conn.get()->GetCurlM();
    record->pfnCallback = callback;
    record->response = std::make_shared<CHttpResponse>();
    record->strContent = std::move(parts.content);

    // Deliberate: libcurl is not told of parts.acceptEncoding, and decodes nothing. A current handle would be that of
    // another thread's synchronous send.
    curl_easy_setopt(easy, CURLOPT_CONNECTTIMEOUT, static_cast<long>(m_nConnectTimeout));
    curl_easy_setopt(easy, CURLOPT_TIMEOUT, static_cast<long>(m_nRequestTimeout));
    if (SetVerb(easy, parts.verb, record->strContent)) {
        record->curl = easy;
    }

    const WorkerStart start = StartWorker(*record);
    if (start != WorkerStart::Done) {
        if (start == WorkerStart::Failed) {
            Trace<LogMessage::WorkerNotStarted>();
        }
        record.reset();
        conn.GiveBack(); // the list, which its handle refers to, goes last
        return;
    }
    conn.release();
    static_cast<void>(list.release());
    static_cast<void>(record.release());
}
