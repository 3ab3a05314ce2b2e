// SPDX-License-Identifier: Apache-2.0
/// @file
/// The implementation behind CHttpClient.
#pragma once

#include <string>

#include <curl/curl.h>

#include <httpclient/HttpOperationType.h>

#include "client/HttpClientInter.h"

class CHttpConnection;
class ConnectionReturn;

/// A client: settings, composition of URL and header list, transfers, and both ways of sending.
///
/// The transfer operations act on the easy handle of the connection that a synchronous send has borrowed.
/// Each returns the HTTP status, or -1 and a log message. None resets the handle: options that one does not
/// set keep what an earlier transfer on the same pooled handle set. That carry-over is deliberate.
class HTTPCLIENT_EXPORT CHttpClientImp : public CHttpClientInter {
public:
    CHttpClientImp();
    ~CHttpClientImp() override;
    CHttpClientImp(const CHttpClientImp&) = delete;
    CHttpClientImp& operator=(const CHttpClientImp&) = delete;

    // Settings: HttpClientImp.cpp
    void setDomain(const std::string& strDomain) override;
    std::string getDomain() override;
    void setSSLSupport() override;
    void setSSLCipherList(const std::string& strList) override;
    void resizeConnPool(unsigned int maxConnNum, unsigned int maxConnCategory) override;
    int getConnPoolSize() override;
    int getConnAddrSize() override;
    void setPort(const int& nPort) override;
    int getPort() override;
    void EnableSiaAccess() override;
    void setScheme(const std::string& strScheme) override;
    std::string getScheme() override;
    void setConnectTimeout(unsigned int nTimeout) override;
    void setRequestTimeout(unsigned int nTimeout) override;

    // Sending: SynSend.cpp, AsynSend.cpp
    int synSendRequest(const CHttpRequest& request, CHttpResponse& response, bool bSSL) override;
    void asynSendRequest(const CHttpRequest& request, void (*callback)(const CHttpResponse&),
                         bool bSSL) override;
    /// Borrows a connection, waiting for one, and makes its easy handle the current one.
    /// @return null when the pool had none to give.
    CHttpConnection* GetHttpConnection(bool bSSL);
    /// Builds the header list and runs the verb's transfer.
    int SendRequest(const CHttpRequest& request, HTTPOPERATIONTYPE verb, const std::string& url,
                    const std::string& content, std::string& response, bool bSSL);

    // URL and header list: UrlAndHeaderList.cpp
    /// @return the absolute URL, without parameters.
    std::string GetUrl(const CHttpRequest& request) const;
    /// @return the header list, the caller's to free; null when there is no header at all.
    curl_slist* AppendSlist(const CHttpRequest& request) const;

    // Transfers: Transfers.cpp. The "s" variants are those of TLS connections.
    /// Sets the options that every transfer has. @return libcurl's result for the last of them.
    CURLcode SetCurlParam(const std::string& url, std::string& response, const curl_slist* slist);
    int Post(const std::string& url, const std::string& content, std::string& response,
             const curl_slist* slist);
    int Posts(const std::string& url, const std::string& content, std::string& response,
              const curl_slist* slist);
    int HttpGet(const std::string& url, std::string& response, const curl_slist* slist);
    int HttpGets(const std::string& url, std::string& response, const curl_slist* slist);
    int Delete(const std::string& url, std::string& response, const curl_slist* slist);
    int Deletes(const std::string& url, std::string& response, const curl_slist* slist);
    int Put(const std::string& url, const std::string& content, std::string& response,
            const curl_slist* slist);
    int Puts(const std::string& url, const std::string& content, std::string& response,
             const curl_slist* slist);
    int Head(const std::string& url, std::string& response, const curl_slist* slist);
    int Heads(const std::string& url, std::string& response, const curl_slist* slist);
    int SendGetRequest(const std::string& url, std::string& response, const curl_slist* slist, bool s);
    int SendPutRequest(const std::string& url, const std::string& content, std::string& response,
                       const curl_slist* slist, bool s);
    int SendPostRequest(const std::string& url, const std::string& content, std::string& response,
                        const curl_slist* slist, bool s);
    int SendDeleteRequest(const std::string& url, std::string& response, const curl_slist* slist, bool s);
    int SendHeadRequest(const std::string& url, std::string& response, const curl_slist* slist, bool s);

    // Around a transfer: Transfers.cpp
    /// Has the raw header block of the response appended to a text.
    void GetResponseHead(std::string& head);
    /// Asks for an encoding and has libcurl decode it.
    void SetDecodingHttpResponse(const std::string& encoding);
    /// @return the content type of the last response; "" when there was none.
    std::string GetResponseCntType();
    /// @return the content length of the last response in bytes; -1.0 when unknown, 0.0 without a handle.
    double GetResponseCntLength();

private:
    friend class ProfiledClient;

    int SynSendOnConnection(const CHttpRequest& request, CHttpResponse& response, bool bSSL);
    void AsynSendOnConnection(const CHttpRequest& request, void (*callback)(const CHttpResponse&), bool bSSL,
                              ConnectionReturn& conn);

    // A new setting: a member here and its setter in HttpClientImp.cpp; where libcurl is told, in SetCurlParam() (synchronous)
    // and in AsynSend.cpp; what the STRICT profile makes of it, in StrictClient.cpp.
    bool m_bSSL = false; ///< Set by setSSLSupport; the sends take their choice from their argument.
    std::string m_strDomain = "127.0.0.1";
    int m_nPort = 80;
    std::string m_strScheme = "http";
    unsigned int m_nConnectTimeout = 10; ///< seconds
    unsigned int m_nRequestTimeout = 30; ///< seconds
    CURL* m_curl = nullptr; ///< The borrowed connection's handle, during a synchronous send only.
    bool m_bSiaAccess = false;
};
