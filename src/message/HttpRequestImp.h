// SPDX-License-Identifier: Apache-2.0
/// @file
/// The implementation behind CHttpRequest.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "message/HttpRequestInter.h"
#include "support/CurlOwners.h"

/// What a parameter's text is taken to be when the request names no character set. Neither is ever destroyed: threads may
/// outlive main().
extern const std::string& DEFAULT_CHARSET;
/// What it is converted to.
extern const std::string& URL_CHARSET;

/// A request: header entries and parameters by name, verb, path, body and cookie text.
class HTTPCLIENT_EXPORT CHttpRequestImp : public CHttpRequestInter {
public:
    CHttpRequestImp();
    ~CHttpRequestImp() override;
    CHttpRequestImp(const CHttpRequestImp&) = delete;
    CHttpRequestImp& operator=(const CHttpRequestImp&) = delete;

    bool addRequestHeadEntry(const std::string& name, const std::string& value) override;
    bool removeRequestHeadEntry(const std::string& name) override;
    void removeRequestHead() override;
    std::string getRequestHeadEntry(const std::string& name) const override;
    std::string getRequestHeadEntry(unsigned int index) const override;
    unsigned int getRequestHeadEntryNums() const override;
    std::map<std::string, std::string> getRequestHead() const override;

    bool addParam(const std::string& name, const std::string& value) override;
    bool addParam(const std::string& name, std::vector<std::string> values) override;
    bool removeParam(const std::string& name) override;
    void RemoveAllParams() override;
    std::vector<std::string> getParam(const std::string& name) const override;
    std::vector<std::string> getParam(unsigned int index) const override;
    std::string getParamsAppendInURL() const override;
    unsigned int getParamNums() const override;
    std::map<std::string, std::vector<std::string>> getRequestParams() const override;

    void setCustomCookieParam(const std::string& cookie) override;
    std::string getCustomCookieParam() const override;

    bool setContentType(const std::string& type) override;
    std::string getContentType() const override;
    bool setContentEncoding(const std::string& encoding) override;
    std::string getContentEncoding() const override;
    bool setContentLanguage(const std::string& language) override;
    std::string getContentLanguage() const override;
    bool setContent(const std::string& body) override;
    std::string getContent() const override;
    bool setAcceptCharset(const std::string& charset) override;
    std::string getAcceptCharset() const override;
    bool setAcceptLanguage(const std::string& language) override;
    std::string getAcceptLanguage() const override;
    bool setAcceptEncoding(const std::string& encoding) override;
    std::string getAcceptEncoding() const override;
    bool setAccept(const std::string& types) override;
    std::string getAccept() const override;

    void setVerb(HTTPOPERATIONTYPE verb) override;
    HTTPOPERATIONTYPE getVerb() const override;
    void setUrlPath(const std::string& path) override;
    std::string getUrlPath() const override;

    std::string encodeParam(const std::string& text) const override;
    std::string decodeParam(const std::string& text) override;
    int codeSetConvert(const std::string& from, const std::string& to, const std::string& in,
                       std::string& out) const override;
    bool setForwardFilter(const std::string& filter) override;

private:
    friend class StrictRequest; // reads without copies what the getters copy

    HTTPOPERATIONTYPE m_eVerb;
    std::map<std::string, std::string> m_mapHeadEntry;
    std::map<std::string, std::vector<std::string>> m_mapParams;
    std::string m_strUrlPath;
    std::string m_strContent;
    CurlEasyPtr m_pCurl; ///< Escapes and unescapes; never transfers. Null when libcurl had none to give.
    std::string m_strCookie;
};
