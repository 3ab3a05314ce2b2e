// SPDX-License-Identifier: Apache-2.0
// The synchronous send.
#include <stdexcept>
#include <utility>

#include <httpclient/HttpRequest.h>
#include <httpclient/HttpResponse.h>

#include "client/ConnectionLoan.h"
#include "client/CurlCallbacks.h"
#include "client/HttpClientImp.h"
#include "client/ResponseFill.h"
#include "client/SendParts.h"
#include "client/UnreadBody.h"
#include "identity/HttpSiaToken.h"
#include "pool/HttpConnection.h"
#include "support/Cancellation.h"
#include "support/CurlOwners.h"
#include "support/ExitGate.h"
#include "support/Trace.h"

namespace {

constexpr int FORBIDDEN = 403;

// Room for the header lines of a usual response, so that they are seldom moved as they come in.
constexpr size_t USUAL_HEAD = 512;

/// Clears the current handle when the send that borrowed it ends, however it ends.
class HandleReset {
public:
    explicit HandleReset(CURL*& handle) : m_handle(handle) {}
    ~HandleReset() { m_handle = nullptr; }
    HandleReset(const HandleReset&) = delete;
    HandleReset& operator=(const HandleReset&) = delete;

private:
    CURL*& m_handle;
};

/// Closes the handles of a thread that was ended in its send, maybe amid the transfer.
void Abandon(CHttpConnection& conn) {
    const ExitGate::CallbackPass pass;
    conn.DropHandles();
}

} // namespace

CHttpConnection* CHttpClientImp::GetHttpConnection(bool bSSL) {
    CHttpConnection* conn =
        WaitForConnection(m_strDomain, m_nPort, bSSL, LogMessage::SynSendNoIdleConnection);
    if (conn != nullptr) {
        m_curl = conn->GetCurl();
    }
    return conn;
}

int CHttpClientImp::SendRequest(const CHttpRequest& request, HTTPOPERATIONTYPE verb, const std::string& url,
                                const std::string& content, std::string& response, bool bSSL) {
    const CurlSlistPtr list(AppendSlist(request));
    switch (verb) {
    case HTTPOPERATION_GET:
        return SendGetRequest(url, response, list.get(), bSSL);
    case HTTPOPERATION_PUT:
        return SendPutRequest(url, content, response, list.get(), bSSL);
    case HTTPOPERATION_POST:
        return SendPostRequest(url, content, response, list.get(), bSSL);
    case HTTPOPERATION_DELETE:
        return SendDeleteRequest(url, response, list.get(), bSSL);
    case HTTPOPERATION_HEAD:
        return SendHeadRequest(url, response, list.get(), bSSL);
    default:
        return -1;
    }
}

int CHttpClientImp::synSendRequest(const CHttpRequest& request, CHttpResponse& response, bool bSSL) {
    const BlockWithinHandler block;
    int result = -1;
    const auto send = [&] {
        if (m_strDomain.empty()) {
            Trace<LogMessage::SynSendDomainEmpty>();
            return;
        }
        const HandleReset reset(m_curl);
        const ConnectionReturn conn(GetHttpConnection(bSSL));
        if (conn.get() == nullptr) {
            Trace<LogMessage::SynSendNoConnection>();
            return;
        }
        result = TidyIfThreadEnds([&] { return SynSendOnConnection(request, response, bSSL); },
                                  [&] { Abandon(*conn.get()); });
    };
    // A text beyond the maximum size of strings is the one exception that is let out.
    if (!Contained<std::length_error>(send)) {
        Trace<LogMessage::SynSendException>();
    }
    return result;
}

int CHttpClientImp::SynSendOnConnection(const CHttpRequest& request, CHttpResponse& response, bool bSSL) {
    std::string url = GetUrl(request);
    Trace<LogMessage::SynSendUrl>(url.c_str()); // without the parameters
    const SendParts parts(request, std::move(url), OwnBody::Sent);

    std::string head;
    head.reserve(USUAL_HEAD);
    GetResponseHead(head);
    if (m_curl != nullptr) {
        curl_easy_setopt(m_curl, CURLOPT_DEBUGFUNCTION, &OnCurlDebug);
        curl_easy_setopt(m_curl, CURLOPT_VERBOSE, 1L);
        curl_easy_setopt(m_curl, CURLOPT_COOKIE, parts.cookie.c_str()); // even when empty
    }
    if (!parts.acceptEncoding.empty()) {
        SetDecodingHttpResponse(parts.acceptEncoding);
    }

    std::string body;
    const auto send = [&] {
        const size_t begin = body.size();
        const int result = SendRequest(request, parts.verb, parts.url, parts.content, body, bSSL);
        if (result != -1) {
            EndConnectionOfUnreadBody(m_curl, result, body, begin);
        }
        return result;
    };
    int status = send();
    if (status == FORBIDDEN &&
        CHttpSiaToken::Instance()->EraseTokenFromBuf(request.getUrlPath(), m_bSiaAccess) == 0) {
        Trace<LogMessage::SynSendRetry>();
        // Deliberate: body and head keep the text of the refused try, that of this one is appended.
        status = send();
    }
    if (status == -1) {
        return -1;
    }

    // All that can fail comes first: a send that answers -1 leaves the response as it was.
    ResponseFill fill(response, GetResponseCntType());
    const double length = KnownContentLength(GetResponseCntLength(), body.size());
    response.setStatusCode(status);
    fill.Body(std::move(body));
    response.setContentLen(length);
    fill.ContentType();
    fill.Head(std::move(head));
    return status;
}
