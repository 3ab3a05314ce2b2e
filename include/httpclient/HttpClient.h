// SPDX-License-Identifier: Apache-2.0
/// @file
/// The client: where requests go, and how they are sent.
#pragma once

#include <memory>
#include <string>

#include <httpclient/Export.h>
#include <httpclient/HttpTransferProfile.h>

class CHttpClientInter;
class CHttpRequest;
class CHttpResponse;

/// Sends requests to one server.
///
/// A new client goes to http://127.0.0.1:80 with a connect time-out of 10 s and a request time-out of 30 s.
/// Settings are read at each send. Connections come from the process-wide pool (CHttpConnectionMgr) and are
/// shared by all clients of the process.
///
/// @par Ownership
/// Holds no connection between sends. Not copyable and not movable.
///
/// @par Thread Safety
/// No lock: one client runs one synchronous send at a time, so use one client per thread. Asynchronous sends
/// may overlap each other and that one, and the client may be destroyed while they are under way.
///
/// @par Performance
/// A client is cheap to make and to keep. A send costs what libcurl's transfer costs; see the send operations
/// for when they wait.
class HTTPCLIENT_EXPORT CHttpClient {
public:
    /// Makes a client. The first one of the process loads the service-identity configuration.
    /// @throw std::bad_alloc when memory is exhausted.
    CHttpClient();
    virtual ~CHttpClient();
    CHttpClient(const CHttpClient&) = delete;
    CHttpClient& operator=(const CHttpClient&) = delete;

    /// Sets the host: a name, an IPv4 address, or an IPv6 address (bare or in brackets).
    /// An empty text is refused with a log message, and the old host stays.
    void setDomain(const std::string& strDomain);
    /// Notes that the client is meant for TLS. The sends take their choice from their own argument.
    void setSSLSupport();
    /// Sets libcurl's cipher list (CURLOPT_SSL_CIPHER_LIST) on the handle in use. Between sends there is
    /// none, so that the call has no effect then; the list is not kept.
    void setSSLCipherList(const std::string& strList);
    /// Raises the limits of the process-wide pool; see CHttpConnectionMgr::ResizeConnPool().
    void resizeConnPool(unsigned int maxConnNum, unsigned int maxConnCategory);
    /// @return the pool's limit of connections per address (not a count of connections).
    int getConnPoolSize();
    /// @return the pool's limit of addresses (not a count of addresses).
    int getConnAddrSize();
    /// Makes every request of this client ask for the token of "ServiceIdentityAccessService", whatever its
    /// path. Cannot be undone.
    void EnableSiaAccess();
    /// Sets the port, unchecked.
    void setPort(const int& nPort);
    /// Sets the scheme, unchecked. An HTTPS request needs both the scheme "https" and the TLS argument
    /// of the send.
    void setScheme(const std::string& strScheme);
    /// @return the scheme.
    std::string getScheme();
    /// Sets the time-out for connecting, in seconds (CURLOPT_CONNECTTIMEOUT; 0 means libcurl's default).
    void setConnectTimeout(unsigned int nTimeout);
    /// Sets the time-out for a whole transfer, in seconds (CURLOPT_TIMEOUT; 0 means none).
    void setRequestTimeout(unsigned int nTimeout);

    /// Sets how this client sends: over libcurl, as ever, or over the engine of httpclient::Client. Read at each send.
    /// docs/strict-profile.md says what changes. Values that are no profile are ignored.
    void setTransferProfile(HTTPTRANSFERPROFILE profile);
    /// @return how this client sends.
    HTTPTRANSFERPROFILE getTransferProfile() const;
    /// Sets the profile of clients that are made later, those of HttpClientWrap included. Clients that exist keep
    /// theirs. Any thread may call it at any time. #HTTPTRANSFERPROFILE_COMPATIBLE unless set.
    static void setDefaultTransferProfile(HTTPTRANSFERPROFILE profile);
    /// Sets, for #HTTPTRANSFERPROFILE_STRICT, the name that is expected in the server's certificate and sent as SNI.
    /// @param name "": the host that setDomain() was given, which is the default; "*": any certificate that the
    ///        platform's authorities have signed.
    void setServerName(const std::string& name);

    /// Sends a request on the calling thread.
    ///
    /// Waits for the whole transfer. While the pool has no connection to give it tries 100 times, 3 s apart,
    /// so that a call can take 300 s before it fails. With service identity on, a token exchange may come
    /// first; an answer of 403 makes the client drop the cached token and send once more, and body and head
    /// then hold the texts of both answers.
    ///
    /// @param request is only read.
    /// @param[out] response is filled when a status was obtained; on -1 it stays untouched.
    /// @param bSSL true: a TLS connection, which presents the platform's client certificate.
    /// @return the HTTP status, or -1: empty host, no connection, a verb that cannot be sent, a failed
    ///         transfer, exhausted memory.
    /// @throw std::length_error only for texts beyond std::string::max_size().
    int synSendRequest(const CHttpRequest& request, CHttpResponse& response, bool bSSL);

    /// Sends a request on a worker thread of its own and returns.
    ///
    /// Prepares the request, and waits for a connection as synSendRequest() does, on the calling thread. Sends
    /// less than synSendRequest() does, and with @p bSSL the server is *not* verified:
    /// docs/behaviour-to-know.md, "Asynchronous sends".
    ///
    /// @param request is only read, and only until this call returns.
    /// @param callback is called exactly once (never when no worker could be started, which is logged), on
    ///        the worker; on the calling thread when the request fails before that, then with status -1. Must
    ///        not be null. The response is valid until the callback returns. A failed transfer shows as
    ///        status 0. The callback may run beside others, take its time, send again (on any client) and
    ///        destroy the client; the connection stays lent out until it returns. An exception that it throws
    ///        is swallowed. It must not call CHttpConnectionMgr::Finalize().
    /// @param bSSL true: a transfer over TLS is not verified; false: libcurl's default verification.
    void asynSendRequest(const CHttpRequest& request, void (*callback)(const CHttpResponse&), bool bSSL);

private:
    std::unique_ptr<CHttpClientInter> m_pImp;
};
