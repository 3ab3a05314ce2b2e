// SPDX-License-Identifier: Apache-2.0
/// @file
/// The interface behind CHttpResponse.
#pragma once

#include <string>

#include <httpclient/Export.h>

/// What a response implementation offers. The order of the virtual operations is part of the ABI. Each means
/// what CHttpResponse says of the operation of the same name.
class HTTPCLIENT_EXPORT CHttpResponseInter {
public:
    virtual ~CHttpResponseInter();

    virtual void setResponseHead(const std::string& head) = 0;
    virtual bool addResponseHeadEntry(const std::string& name, const std::string& value) = 0;
    virtual std::string getResponseHeadEntry(const std::string& name) const = 0;
    virtual std::string getResponseHeadEntry(unsigned int index) const = 0;
    virtual std::string getResponseHead() const = 0;
    virtual unsigned int getResponseHeadNums() const = 0;
    /// Does nothing: the raw header text is never split into entries.
    virtual void parseHead() = 0;
    virtual std::string getResponseBody() const = 0;
    virtual void setResponseBody(const std::string& body) = 0;
    virtual std::string getContentType() const = 0;
    virtual bool setContentType(const std::string& type) = 0;
    virtual void setContentLen(double length) = 0;
    virtual double getContentLen() const = 0;
    virtual std::string getCharset() const = 0;
    virtual int getStatusCode() const = 0;
    virtual void setStatusCode(int code) = 0;
};
