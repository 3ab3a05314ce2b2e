// SPDX-License-Identifier: Apache-2.0
/// @file
/// Every message that the library logs, each in one place. The code names a message, never its text; a test
/// compares the table with docs/operations.md. People search logs for the texts: text and level stay as they are.
#pragma once

#include <cstddef>
#include <iterator>

/// The levels that the library logs at.
enum class TraceLevel : int {
    Detail = 2,   ///< URLs and libcurl's own lines
    Progress = 3, ///< progress and information
    Error = 5     ///< failures
};

/// The messages by name. A new one comes here, into the table below, and into docs/operations.md.
enum class LogMessage : std::size_t {
    // Sending, synchronously
    SynSendUrl,
    CurlSays,
    SynSendRetry,
    SetDomainEmpty,
    SynSendDomainEmpty,
    SynSendNoIdleConnection,
    SynSendNoConnection,
    TransferFailed,
    PostFailed,
    PostMethodRefused,
    PostBodyRefused,
    TransferWithoutHandle,
    SynSendException,
    // Sending, asynchronously
    AsynSendUrl,
    AsynSendBegin,
    AsynSendEnd,
    AsynSendDomainEmpty,
    AsynSendNoIdleConnection,
    AsynSendNoConnection,
    WorkerNotStarted,
    WorkerWithoutList,
    WorkerWithoutHandle,
    WorkerWithoutMulti,
    WorkerWithoutConnection,
    AsynSendException,
    WorkerException,
    // Pool
    PoolThreadBegin,
    PoolThreadEnd,
    PoolConnectionLimit,
    PoolAddressLimit,
    PoolResized,
    PoolIdleTime,
    PoolAddressUsedUp,
    PoolDomainEmpty,
    PoolWithoutTimer,
    PoolNotStarted,
    // TLS files
    KeyPasswordMissing,
    KeyPasswordNotDecrypted,
    ManifestNotParsed,
    ManifestNotRead,
    // Service identity
    ServiceUrlsLoaded,
    ServiceUrlsNotOpened,
    ServiceUrlsNotParsed,
    ServiceUrlsNotRead,
    CredentialLoaded,
    CredentialNotOpened,
    CredentialNotParsed,
    CredentialNotRead,
    TokenNotNeeded,
    TokenService,
    TokenFromCache,
    TokenObtained,
    TokenRefused,
    TokenAnswerNotRead,
    TokenMissing,
    // Calls of the engine
    CallEnded,
    CallFailed,
    CallFailedWithin,
    CallRefused,
    CallWithoutMemory,
    TlsMaterialKept,

    Count ///< no message: how many there are
};

/// A row of the table. The text is a format of printf().
struct LogMessageRow {
    LogMessage message;
    TraceLevel level;
    const char* text;
};

/// The table, in the order of the names.
constexpr LogMessageRow LOG_MESSAGES[] = {
    // Sending, synchronously
    // "sync" where the operation says "syn": the text is fixed.
    {LogMessage::SynSendUrl, TraceLevel::Detail, "HTTP syncSendRequest URL is: %s"},
    {LogMessage::CurlSays, TraceLevel::Detail, "== Info: %s"},
    {LogMessage::SynSendRetry, TraceLevel::Progress,
     "HTTP synSendRequest, response code is 403, retry to SendRequest"},
    {LogMessage::SetDomainEmpty, TraceLevel::Error, "HTTP setDomain failed, strDomain is empty."},
    {LogMessage::SynSendDomainEmpty, TraceLevel::Error, "HTTP synSendRequest, domain is empty!"},
    {LogMessage::SynSendNoIdleConnection, TraceLevel::Error,
     "synSendRequest::no idle conn now, wait 3s and retry..."},
    {LogMessage::SynSendNoConnection, TraceLevel::Error,
     "synSendRequest::HTTP get connection from pool failed!"},
    {LogMessage::TransferFailed, TraceLevel::Error,
     "HTTP synSendRequest::%s curl_easy_perform call failed, error no is:%d"},
    // Names the other path; logged by a synchronous POST without TLS.
    {LogMessage::PostFailed, TraceLevel::Error, "HTTP asynSendRequest failed,the response code is : %d"},
    {LogMessage::PostMethodRefused, TraceLevel::Error,
     "HTTP Post failed,curl_easy_setopt CURLOPT_CUSTOMREQUEST retcode is : %d"},
    {LogMessage::PostBodyRefused, TraceLevel::Error,
     "HTTP Post failed,curl_easy_setopt CURLOPT_POSTFIELDS retcode is : %d"},
    {LogMessage::TransferWithoutHandle, TraceLevel::Error, "HTTP synSendRequest::%s m_curl is nullptr."},
    {LogMessage::SynSendException, TraceLevel::Error, "HTTP synSendRequest catch an exception."},
    // Sending, asynchronously
    {LogMessage::AsynSendUrl, TraceLevel::Detail, "HTTP asynSendRequest URL is: %s"},
    {LogMessage::AsynSendBegin, TraceLevel::Progress, "HTTP asynSendRequest begin"},
    {LogMessage::AsynSendEnd, TraceLevel::Progress, "HTTP asynSendRequest end"},
    {LogMessage::AsynSendDomainEmpty, TraceLevel::Error, "CHttpClientImp::asynSendRequest, domain is empty!"},
    {LogMessage::AsynSendNoIdleConnection, TraceLevel::Error,
     "asynSendRequest, no idle conn now, wait 3s and retry..."},
    {LogMessage::AsynSendNoConnection, TraceLevel::Error,
     "asynSendRequest::HTTP get connection from pool failed! current size is %d"},
    {LogMessage::WorkerNotStarted, TraceLevel::Error,
     "asynSendRequest::failed to spawn the thread DoAsyncOperation !"},
    {LogMessage::WorkerWithoutList, TraceLevel::Error, "HTTP DoAsyncOperation ptrSList is nullptr."},
    {LogMessage::WorkerWithoutHandle, TraceLevel::Error, "HTTP DoAsyncOperation curl is nullptr."},
    {LogMessage::WorkerWithoutMulti, TraceLevel::Error, "HTTP DoAsyncOperation mcurl is nullptr."},
    {LogMessage::WorkerWithoutConnection, TraceLevel::Error, "HTTP DoAsyncOperation ptrHttpConn is nullptr."},
    {LogMessage::AsynSendException, TraceLevel::Error, "HTTP asynSendRequest catch an exception."},
    {LogMessage::WorkerException, TraceLevel::Error, "HTTP DoAsyncOperation catch an exception."},
    // Pool
    // The trailing blank belongs to the text.
    {LogMessage::PoolThreadBegin, TraceLevel::Progress, "CHttpConnectionMgr::svc in "},
    {LogMessage::PoolThreadEnd, TraceLevel::Progress, "CHttpConnectionMgr::svc out"},
    {LogMessage::PoolConnectionLimit, TraceLevel::Progress,
     "CHttpConnectionMgr::SetMaxConnPerAddr, m_MaxConnNum=%u"},
    {LogMessage::PoolAddressLimit, TraceLevel::Progress,
     "CHttpConnectionMgr::SetMaxConnAddr, m_MaxConnCategory=%u"},
    {LogMessage::PoolResized, TraceLevel::Progress,
     "CHttpConnectionMgr::ResizeConnPool, m_MaxConnNum=%u, m_MaxConnCategory=%u"},
    {LogMessage::PoolIdleTime, TraceLevel::Progress, "CHttpConnectionMgr::SetRlsTime, m_releasedtime=%ld"},
    // clang-format off: a text stands in one piece, so that a search finds it
    {LogMessage::PoolAddressUsedUp, TraceLevel::Progress,
     "CHttpConnectionMgr::GetConn, no idle connection, and connections number reached the upper "
     "limit,maxconn is %d"},
    // clang-format on
    {LogMessage::PoolDomainEmpty, TraceLevel::Error,
     "CHttpConnectionMgr::GetConn, domain is empty, return nullptr"},
    {LogMessage::PoolWithoutTimer, TraceLevel::Error,
     "CHttpConnectionMgr::Initialize() inittimer failed error!"},
    {LogMessage::PoolNotStarted, TraceLevel::Error,
     "CHttpConnectionMgr::CHttpConnectionMgr Initialize error!,ret=%d"},
    // TLS files
    // The class name in this one and the next, and their level, are deliberate.
    {LogMessage::KeyPasswordMissing, TraceLevel::Progress,
     "CHttpClientImp::CHttpsConnection, the enc text is null!"},
    {LogMessage::KeyPasswordNotDecrypted, TraceLevel::Progress,
     "CHttpClientImp::CHttpsConnection, the plain text is null or dec error, ret=%d"},
    {LogMessage::ManifestNotParsed, TraceLevel::Error, "CHttpsConnection::GetCipherText, parse %s error!"},
    {LogMessage::ManifestNotRead, TraceLevel::Error,
     "CHttpsConnection::GetCipherText, parse file catch an exception!"},
    // Service identity
    {LogMessage::ServiceUrlsLoaded, TraceLevel::Progress,
     "load service_url_config.json successfully, sia url count: %d"},
    {LogMessage::ServiceUrlsNotOpened, TraceLevel::Error, "open service_url_config.json failed."},
    {LogMessage::ServiceUrlsNotParsed, TraceLevel::Error, "load service_url_config.json failed."},
    {LogMessage::ServiceUrlsNotRead, TraceLevel::Error, "parse service_url_config.json catch an exception."},
    {LogMessage::CredentialLoaded, TraceLevel::Progress, "load %s successfully, jwt length: %d"},
    {LogMessage::CredentialNotOpened, TraceLevel::Error, "open %s failed."},
    {LogMessage::CredentialNotParsed, TraceLevel::Error, "load %s failed."},
    {LogMessage::CredentialNotRead, TraceLevel::Error, "parse %s catch an exception."},
    {LogMessage::TokenNotNeeded, TraceLevel::Progress, "no need to get sia token, url: %s"},
    // Names another operation, and calls the service a domain: the text is fixed.
    {LogMessage::TokenService, TraceLevel::Progress,
     "CHttpSiaToken::GetServiceNameByUrl, url: %s, domain:%s"},
    {LogMessage::TokenFromCache, TraceLevel::Progress, "get sia token from buffer, token length: %d"},
    {LogMessage::TokenObtained, TraceLevel::Progress,
     "request sia token successfully. token length: %d, expire_at: %d"},
    {LogMessage::TokenRefused, TraceLevel::Error, "request sia token failed. status: %d"},
    {LogMessage::TokenAnswerNotRead, TraceLevel::Error, "request sia token catch an exception."},
    {LogMessage::TokenMissing, TraceLevel::Error, "CHttpClientImp::AppendSlist, GetSiaToken failed"},
    // Calls of the engine
    {LogMessage::CallEnded, TraceLevel::Progress,
     "HTTP call %s %s%s: status %d, attempts %d, total %.3f ms%s"},
    {LogMessage::CallFailed, TraceLevel::Error, "HTTP call %s %s%s failed: %s; attempts %d, total %.3f ms%s"},
    {LogMessage::CallFailedWithin, TraceLevel::Error,
     "HTTP call %s %s%s failed: Internal in %s: %s; attempts %d, total %.3f ms"},
    {LogMessage::CallRefused, TraceLevel::Error, "HTTP call failed: %s"},
    {LogMessage::CallWithoutMemory, TraceLevel::Error,
     "HTTP call failed: Internal in Prepare: out of memory, descriptors or threads"},
    {LogMessage::TlsMaterialKept, TraceLevel::Error,
     "httpclient, changed TLS material cannot be used, the old stays in use, %s"},
};

/// Whether each row stands where its name says.
constexpr bool LogMessagesAreInOrder() {
    for (std::size_t i = 0; i < std::size(LOG_MESSAGES); ++i) {
        if (LOG_MESSAGES[i].message != static_cast<LogMessage>(i)) {
            return false;
        }
    }
    return true;
}
static_assert(LogMessagesAreInOrder());
static_assert(std::size(LOG_MESSAGES) == static_cast<std::size_t>(LogMessage::Count));

/// @return the row of a message.
constexpr const LogMessageRow& RowOf(LogMessage message) {
    return LOG_MESSAGES[static_cast<std::size_t>(message)];
}
