// SPDX-License-Identifier: Apache-2.0
/// @file
/// The interface behind CHttpClient.
#pragma once

#include <string>

#include <httpclient/Export.h>

class CHttpRequest;
class CHttpResponse;

/// What a client implementation offers. The order of the virtual operations is part of the ABI. Each means
/// what CHttpClient says of the operation of the same name.
class HTTPCLIENT_EXPORT CHttpClientInter {
public:
    virtual ~CHttpClientInter();

    virtual void setDomain(const std::string& strDomain) = 0;
    virtual std::string getDomain() = 0;
    virtual void setSSLSupport() = 0;
    virtual void setSSLCipherList(const std::string& strList) = 0;
    virtual void resizeConnPool(unsigned int maxConnNum, unsigned int maxConnCategory) = 0;
    virtual int getConnPoolSize() = 0;
    virtual int getConnAddrSize() = 0;
    virtual void setPort(const int& nPort) = 0;
    virtual int getPort() = 0;
    virtual void EnableSiaAccess() = 0;
    virtual void setScheme(const std::string& strScheme) = 0;
    virtual std::string getScheme() = 0;
    virtual void setConnectTimeout(unsigned int nTimeout) = 0;
    virtual void setRequestTimeout(unsigned int nTimeout) = 0;
    virtual int synSendRequest(const CHttpRequest& request, CHttpResponse& response, bool bSSL) = 0;
    virtual void asynSendRequest(const CHttpRequest& request, void (*callback)(const CHttpResponse&),
                                 bool bSSL) = 0;
};
