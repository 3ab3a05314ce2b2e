// SPDX-License-Identifier: Apache-2.0
// The ten transfers, and what surrounds them on the borrowed handle.
#include <array>

#include "client/CurlCallbacks.h"
#include "client/HttpClientImp.h"
#include "client/ResponseFill.h"
#include "client/TlsConnecting.h"
#include "support/Cleansing.h"
#include "support/ExitGate.h"
#include "support/Trace.h"

namespace {

/// One thing that is set on the handle before a transfer is performed.
enum class Step {
    None,
    Common,       ///< SetCurlParam
    Method,       ///< CURLOPT_CUSTOMREQUEST
    Body,         ///< CURLOPT_POSTFIELDS
    NoRead,       ///< CURLOPT_READFUNCTION = null
    HeaderInBody, ///< CURLOPT_HEADER = 1
    NoBody        ///< CURLOPT_NOBODY = 1
};

/// What is logged of a transfer that fails.
enum class Report {
    Nothing,
    ResultCode,             ///< libcurl's result code
    OptionsAndResponseCode, ///< failed options, and the response code in a message that names the other path
};

/// What a transfer consists of. The ten differ in what stands in their rows, and in nothing else.
struct TransferKind {
    const char* name;
    const char* method;
    std::array<Step, 4> steps;
    Report report;
};

constexpr TransferKind POST{
    "Post", "POST", {Step::Common, Step::Method, Step::Body}, Report::OptionsAndResponseCode};
constexpr TransferKind POSTS{"Posts", "POST", {Step::Common, Step::Method, Step::Body}, Report::ResultCode};
constexpr TransferKind HTTP_GET{
    "HttpGet", "GET", {Step::Common, Step::Body, Step::Method, Step::NoRead}, Report::ResultCode};
constexpr TransferKind HTTP_GETS{
    "HttpGets", "GET", {Step::Body, Step::Method, Step::Common}, Report::ResultCode};
constexpr TransferKind DELETE{
    "Delete", "DELETE", {Step::Common, Step::Body, Step::Method}, Report::ResultCode};
constexpr TransferKind DELETES{
    "Deletes", "DELETE", {Step::Body, Step::Common, Step::Method}, Report::ResultCode};
constexpr TransferKind PUT{"Put", "PUT", {Step::Common, Step::Method, Step::Body}, Report::ResultCode};
constexpr TransferKind PUTS{"Puts", "PUT", {Step::Common, Step::Method, Step::Body}, Report::ResultCode};
constexpr TransferKind HEAD{
    "Head", nullptr, {Step::Common, Step::HeaderInBody, Step::NoBody}, Report::Nothing};
constexpr TransferKind HEADS{
    "Heads", nullptr, {Step::Body, Step::Common, Step::HeaderInBody, Step::NoBody}, Report::Nothing};

// GET and DELETE deliberately carry an empty body, their method being custom text; so do the "s" HEADs.
const std::string& EMPTY_BODY = *new std::string;

/// One transfer to run.
struct Transfer {
    const std::string& url;
    const std::string& content;
    std::string& response;
    const curl_slist* slist;
};

CURLcode Set(Step step, CHttpClientImp& client, CURL* curl, const TransferKind& kind,
             const Transfer& transfer) {
    switch (step) {
    case Step::Common:
        return client.SetCurlParam(transfer.url, transfer.response, transfer.slist);
    case Step::Method:
        return curl_easy_setopt(curl, CURLOPT_CUSTOMREQUEST, kind.method);
    case Step::Body:
        return curl_easy_setopt(curl, CURLOPT_POSTFIELDS, transfer.content.c_str());
    case Step::NoRead:
        return curl_easy_setopt(curl, CURLOPT_READFUNCTION, nullptr);
    case Step::HeaderInBody:
        return curl_easy_setopt(curl, CURLOPT_HEADER, 1L);
    case Step::NoBody:
        return curl_easy_setopt(curl, CURLOPT_NOBODY, 1L);
    case Step::None:
        break;
    }
    return CURLE_OK;
}

void ReportFailedOption(Step step, CURLcode result) {
    if (step == Step::Method) {
        Trace<LogMessage::PostMethodRefused>(result);
    }
    if (step == Step::Body) {
        Trace<LogMessage::PostBodyRefused>(result);
    }
}

long ResponseCode(CURL* curl) {
    long code = -1; // stands when libcurl cannot tell
    curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &code);
    return code;
}

void ReportFailedTransfer(const TransferKind& kind, CURL* curl, CURLcode result) {
    if (kind.report == Report::ResultCode) {
        Trace<LogMessage::TransferFailed>(kind.name, result);
    }
    if (kind.report == Report::OptionsAndResponseCode) {
        Trace<LogMessage::PostFailed>(static_cast<int>(ResponseCode(curl)));
    }
}

int Perform(const TransferKind& kind, CHttpClientImp& client, CURL* curl, const Transfer& transfer) {
    if (curl == nullptr) {
        Trace<LogMessage::TransferWithoutHandle>(kind.name);
        return -1;
    }
    for (const Step step : kind.steps) {
        const CURLcode set = Set(step, client, curl, kind, transfer);
        if (set != CURLE_OK && kind.report == Report::OptionsAndResponseCode) {
            ReportFailedOption(step, set); // and carries on
        }
    }
    const CURLcode performed = [&] {
        const TlsConnecting connecting(transfer.url);
        // By TLS or not: an "http:" URL may have a proxy that is reached by TLS.
        const ExitGate::CallbackPass pass;
        return curl_easy_perform(curl);
    }();
    if (performed == CURLE_OK) {
        return static_cast<int>(ResponseCode(curl));
    }
    ReportFailedTransfer(kind, curl, performed);
    return -1;
}

} // namespace

CURLcode CHttpClientImp::SetCurlParam(const std::string& url, std::string& response,
                                      const curl_slist* slist) {
    curl_easy_setopt(m_curl, CURLOPT_URL, url.c_str());
    curl_easy_setopt(m_curl, CURLOPT_WRITEFUNCTION, &OnCurlWrite);
    curl_easy_setopt(m_curl, CURLOPT_WRITEDATA, &response);
    curl_easy_setopt(m_curl, CURLOPT_HTTPHEADER, slist); // null clears the list of an earlier transfer
    curl_easy_setopt(m_curl, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(m_curl, CURLOPT_CONNECTTIMEOUT, static_cast<long>(m_nConnectTimeout));
    return curl_easy_setopt(m_curl, CURLOPT_TIMEOUT, static_cast<long>(m_nRequestTimeout));
}

int CHttpClientImp::Post(const std::string& url, const std::string& content, std::string& response,
                         const curl_slist* slist) {
    // A copy of its own, deliberately, where the other transfers send the caller's.
    std::string body = content;
    const Cleansing cleansing(body); // it may hold a secret, and nobody else can wipe it
    return Perform(POST, *this, m_curl, {url, body, response, slist});
}

int CHttpClientImp::Posts(const std::string& url, const std::string& content, std::string& response,
                          const curl_slist* slist) {
    return Perform(POSTS, *this, m_curl, {url, content, response, slist});
}

int CHttpClientImp::HttpGet(const std::string& url, std::string& response, const curl_slist* slist) {
    return Perform(HTTP_GET, *this, m_curl, {url, EMPTY_BODY, response, slist});
}

int CHttpClientImp::HttpGets(const std::string& url, std::string& response, const curl_slist* slist) {
    return Perform(HTTP_GETS, *this, m_curl, {url, EMPTY_BODY, response, slist});
}

int CHttpClientImp::Delete(const std::string& url, std::string& response, const curl_slist* slist) {
    return Perform(DELETE, *this, m_curl, {url, EMPTY_BODY, response, slist});
}

int CHttpClientImp::Deletes(const std::string& url, std::string& response, const curl_slist* slist) {
    return Perform(DELETES, *this, m_curl, {url, EMPTY_BODY, response, slist});
}

int CHttpClientImp::Put(const std::string& url, const std::string& content, std::string& response,
                        const curl_slist* slist) {
    return Perform(PUT, *this, m_curl, {url, content, response, slist});
}

int CHttpClientImp::Puts(const std::string& url, const std::string& content, std::string& response,
                         const curl_slist* slist) {
    return Perform(PUTS, *this, m_curl, {url, content, response, slist});
}

int CHttpClientImp::Head(const std::string& url, std::string& response, const curl_slist* slist) {
    return Perform(HEAD, *this, m_curl, {url, EMPTY_BODY, response, slist});
}

int CHttpClientImp::Heads(const std::string& url, std::string& response, const curl_slist* slist) {
    return Perform(HEADS, *this, m_curl, {url, EMPTY_BODY, response, slist});
}

int CHttpClientImp::SendGetRequest(const std::string& url, std::string& response, const curl_slist* slist,
                                   bool s) {
    return s ? HttpGets(url, response, slist) : HttpGet(url, response, slist);
}

int CHttpClientImp::SendPutRequest(const std::string& url, const std::string& content, std::string& response,
                                   const curl_slist* slist, bool s) {
    return s ? Puts(url, content, response, slist) : Put(url, content, response, slist);
}

int CHttpClientImp::SendPostRequest(const std::string& url, const std::string& content, std::string& response,
                                    const curl_slist* slist, bool s) {
    return s ? Posts(url, content, response, slist) : Post(url, content, response, slist);
}

int CHttpClientImp::SendDeleteRequest(const std::string& url, std::string& response, const curl_slist* slist,
                                      bool s) {
    return s ? Deletes(url, response, slist) : Delete(url, response, slist);
}

int CHttpClientImp::SendHeadRequest(const std::string& url, std::string& response, const curl_slist* slist,
                                    bool s) {
    return s ? Heads(url, response, slist) : Head(url, response, slist);
}

void CHttpClientImp::GetResponseHead(std::string& head) {
    if (m_curl == nullptr) {
        return;
    }
    curl_easy_setopt(m_curl, CURLOPT_HEADERDATA, &head);
    curl_easy_setopt(m_curl, CURLOPT_HEADERFUNCTION, &OnCurlWrite);
}

void CHttpClientImp::SetDecodingHttpResponse(const std::string& encoding) {
    if (m_curl == nullptr) {
        return;
    }
    curl_easy_setopt(m_curl, CURLOPT_ACCEPT_ENCODING, encoding.c_str());
    curl_easy_setopt(m_curl, CURLOPT_HTTP_CONTENT_DECODING, 1L);
}

std::string CHttpClientImp::GetResponseCntType() {
    return m_curl != nullptr ? ResponseContentType(m_curl) : "";
}

double CHttpClientImp::GetResponseCntLength() {
    return m_curl != nullptr ? ResponseContentLength(m_curl, 0.0) : 0.0;
}
