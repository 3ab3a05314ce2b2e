// SPDX-License-Identifier: Apache-2.0
// The worker's side of an asynchronous send.
#include "client/AsyncOperation.h"

#include <memory>
#include <new>
#include <optional>
#include <utility>

#include <sys/select.h>

#include <httpclient/HttpResponse.h>

#include "client/ConnectionLoan.h"
#include "client/CurlCallbacks.h"
#include "client/ResponseFill.h"
#include "pool/HttpConnection.h"
#include "support/Cancellation.h"
#include "support/Cleansing.h"
#include "support/CurlOwners.h"
#include "support/ExitGate.h"
#include "support/SignalBlock.h"
#include "support/Trace.h"

namespace {

constexpr time_t WAIT_WITHOUT_TIMER_SECONDS = 5;

/// Deliberately only logs: the worker carries on with what it has.
void ReportMissing(const AsyncOperationArgs& args) {
    if (args.curl == nullptr) {
        Trace<LogMessage::WorkerWithoutHandle>();
    }
    if (args.mcurl == nullptr) {
        Trace<LogMessage::WorkerWithoutMulti>();
    }
    if (args.ptrSList == nullptr) {
        Trace<LogMessage::WorkerWithoutList>();
    }
    if (args.ptrHttpConn == nullptr) {
        Trace<LogMessage::WorkerWithoutConnection>();
    }
}

void SetWorkerOptions(const AsyncOperationArgs& args, std::string& head, std::string& body) {
    curl_easy_setopt(args.curl, CURLOPT_HEADERDATA, &head);
    curl_easy_setopt(args.curl, CURLOPT_HEADERFUNCTION, &OnCurlWrite);
    curl_easy_setopt(args.curl, CURLOPT_WRITEFUNCTION, &OnCurlWrite);
    curl_easy_setopt(args.curl, CURLOPT_WRITEDATA, &body);
    if (args.bSSL && args.pszCaInfo != nullptr) {
        curl_easy_setopt(args.curl, CURLOPT_SSL_VERIFYPEER, 1L);
        curl_easy_setopt(args.curl, CURLOPT_CAINFO, args.pszCaInfo);
    } else if (args.bSSL) {
        curl_easy_setopt(args.curl, CURLOPT_SSL_VERIFYPEER, 0L);
        curl_easy_setopt(args.curl, CURLOPT_SSL_VERIFYHOST, 0L);
    }
    curl_easy_setopt(args.curl, CURLOPT_NOSIGNAL, 1L);
}

/// Pauses until libcurl wants to be called again. @return false when the pause failed.
bool Pause(CURLM* multi) {
    int maxfd = -1;
    long timeout = -1;
    fd_set readSet;
    fd_set writeSet;
    fd_set errorSet;
    FD_ZERO(&readSet);
    FD_ZERO(&writeSet);
    FD_ZERO(&errorSet);
    timeval tv{WAIT_WITHOUT_TIMER_SECONDS, 0};
    curl_multi_timeout(multi, &timeout);
    InitTimeStruct(timeout, tv);
    curl_multi_fdset(multi, &readSet, &writeSet, &errorSet, &maxfd);
    // Deliberate: a count of 0 watches no descriptor, so that each pass is a timed pause and a perform.
    return select(0, &readSet, &writeSet, &errorSet, &tv) != -1;
}

/// Attaches the handle. libcurl closes what a synchronous transfer on it has left then.
void Attach(const AsyncOperationArgs& args) {
    const CancellationBlock block;
    const ExitGate::Pass pass;
    curl_multi_add_handle(args.mcurl, args.curl);
}

CURLMcode Advance(CURLM* multi, int& running) {
    const CancellationBlock block; // a step is short: the thread is cancelled in the pause
    const ExitGate::Pass pass;
    return curl_multi_perform(multi, &running);
}

/// Drives the transfer to its end; pauses at least once, even when the first perform has ended it.
void Drive(CURLM* multi) {
    int running = 1;
    if (Advance(multi, running) != CURLM_OK) {
        return;
    }
    do {
        if (!Pause(multi)) {
            return;
        }
        Advance(multi, running);
    } while (running != 0);
}

/// Closes the handles of a worker that was ended amid its transfer.
void Abandon(const AsyncOperationArgs& args) {
    if (args.ptrHttpConn != nullptr) {
        const ExitGate::Pass pass;
        args.ptrHttpConn->DropHandles();
    }
}

/// Runs the transfer and fills the response.
void RunTransfer(const AsyncOperationArgs& args, CHttpResponse& response) {
    std::string head;
    std::string body;
    SetWorkerOptions(args, head, body);
    Attach(args);
    TakeWriteWithoutMemory(); // an earlier send's on this thread
    TidyIfThreadEnds([&] { Drive(args.mcurl); }, [&] { Abandon(args); });
    const CancellationBlock block;
    const ExitGate::Pass pass;
    curl_multi_remove_handle(args.mcurl, args.curl);
    if (TakeWriteWithoutMemory()) {
        throw std::bad_alloc(); // nothing of an answer instead of a part
    }

    // How the transfer ended is not looked at otherwise: libcurl's status tells, 0 when there was no response.
    long status = -1;
    curl_easy_getinfo(args.curl, CURLINFO_RESPONSE_CODE, &status);
    ResponseFill fill(response, ResponseContentType(args.curl)); // first, as all that can fail
    const double length = KnownContentLength(ResponseContentLength(args.curl, -1.0), body.size());
    response.setStatusCode(static_cast<int>(status));
    fill.Head(std::move(head));
    fill.Body(std::move(body));
    fill.ContentType();
    response.setContentLen(length);
}

/// Runs the transfer and calls the caller's function, exactly once.
/// @param callersSignals what is blocked around the call; null leaves it as it is.
void TransferAndCallBack(const AsyncOperationArgs& args, const sigset_t* callersSignals) {
    const auto response = args.response ? args.response : std::make_shared<CHttpResponse>();
    if (!Contained([&] { RunTransfer(args, *response); })) {
        Trace<LogMessage::WorkerException>();
        response->setStatusCode(-1); // memory is exhausted
    }
    std::optional<SignalMask> mask;
    if (callersSignals != nullptr) {
        mask.emplace(*callersSignals);
    }
    args.pfnCallback(*response);
}

/// Owns what the record tells of, and gives it back before the record goes.
void Work(const AsyncOperationArgs& record, const sigset_t* callersSignals) {
    const CurlSlistPtr list(record.ptrSList);
    const ConnectionReturn conn(record.ptrHttpConn); // goes before the list, which its handle refers to
    ReportMissing(record);
    // What the caller's function throws must not end the process.
    static_cast<void>(Contained([&] { TransferAndCallBack(record, callersSignals); }));
}

} // namespace

WorkerArgs::~WorkerArgs() {
    Cleanse(strContent);
}

void* DoAsyncOperation(void* args) {
    if (args == nullptr) {
        return nullptr;
    }
    const std::unique_ptr<AsyncOperationArgs> record(static_cast<AsyncOperationArgs*>(args));
    const Cleansing content(record->strContent);
    Work(*record, nullptr);
    return nullptr;
}

void* RunWorker(void* args) {
    const ExitGate::DetachedThread thread;
    const std::unique_ptr<WorkerArgs> record(static_cast<WorkerArgs*>(args));
    record->firstStep.reset();
    Work(*record, &record->callersSignals);
    return nullptr;
}

void InitTimeStruct(long ms, timeval& tv) {
    if (ms < 0) {
        return;
    }
    tv.tv_sec = ms / 1000;
    if (tv.tv_sec > 1) {
        tv.tv_sec = 1; // tv_usec deliberately stays as it was
        return;
    }
    tv.tv_usec = (ms % 1000) * 1000;
}
