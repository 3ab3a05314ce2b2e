// SPDX-License-Identifier: Apache-2.0
/// @file
/// The interface behind CHttpRequest.
#pragma once

#include <map>
#include <string>
#include <vector>

#include <httpclient/Export.h>
#include <httpclient/HttpOperationType.h>

/// What a request implementation offers. The order of the virtual operations is part of the ABI. Each means
/// what CHttpRequest says of the operation of the same name.
class HTTPCLIENT_EXPORT CHttpRequestInter {
public:
    virtual ~CHttpRequestInter();

    virtual bool addRequestHeadEntry(const std::string& name, const std::string& value) = 0;
    virtual bool removeRequestHeadEntry(const std::string& name) = 0;
    virtual void removeRequestHead() = 0;
    virtual std::string getRequestHeadEntry(const std::string& name) const = 0;
    virtual std::string getRequestHeadEntry(unsigned int index) const = 0;
    virtual unsigned int getRequestHeadEntryNums() const = 0;
    virtual std::map<std::string, std::string> getRequestHead() const = 0;

    virtual bool addParam(const std::string& name, const std::string& value) = 0;
    virtual bool addParam(const std::string& name, std::vector<std::string> values) = 0;
    virtual bool removeParam(const std::string& name) = 0;
    virtual void RemoveAllParams() = 0;
    virtual std::vector<std::string> getParam(const std::string& name) const = 0;
    virtual std::vector<std::string> getParam(unsigned int index) const = 0;
    virtual std::string getParamsAppendInURL() const = 0;
    virtual unsigned int getParamNums() const = 0;
    virtual std::map<std::string, std::vector<std::string>> getRequestParams() const = 0;

    /// Not pure, so that an implementation without cookie support still answers.
    virtual void setCustomCookieParam(const std::string& cookie);
    virtual std::string getCustomCookieParam() const;

    virtual bool setContentType(const std::string& type) = 0;
    virtual std::string getContentType() const = 0;
    virtual bool setContentEncoding(const std::string& encoding) = 0;
    virtual std::string getContentEncoding() const = 0;
    virtual bool setContentLanguage(const std::string& language) = 0;
    virtual std::string getContentLanguage() const = 0;
    virtual bool setContent(const std::string& body) = 0;
    virtual std::string getContent() const = 0;
    virtual bool setAcceptCharset(const std::string& charset) = 0;
    virtual std::string getAcceptCharset() const = 0;
    virtual bool setAcceptLanguage(const std::string& language) = 0;
    virtual std::string getAcceptLanguage() const = 0;
    virtual bool setAcceptEncoding(const std::string& encoding) = 0;
    virtual std::string getAcceptEncoding() const = 0;
    virtual bool setAccept(const std::string& types) = 0;
    virtual std::string getAccept() const = 0;

    virtual void setVerb(HTTPOPERATIONTYPE verb) = 0;
    virtual HTTPOPERATIONTYPE getVerb() const = 0;
    virtual void setUrlPath(const std::string& path) = 0;
    virtual std::string getUrlPath() const = 0;

    virtual std::string encodeParam(const std::string& text) const = 0;
    virtual std::string decodeParam(const std::string& text) = 0;
    virtual int codeSetConvert(const std::string& from, const std::string& to, const std::string& in,
                               std::string& out) const = 0;
    virtual bool setForwardFilter(const std::string& filter) = 0;
};
