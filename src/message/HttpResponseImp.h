// SPDX-License-Identifier: Apache-2.0
/// @file
/// The implementation behind CHttpResponse.
#pragma once

#include <map>
#include <string>

#include "message/HttpResponseInter.h"

/// A response: status, raw header text, body, content length and header entries by name.
class HTTPCLIENT_EXPORT CHttpResponseImp : public CHttpResponseInter {
public:
    CHttpResponseImp();
    ~CHttpResponseImp() override;
    CHttpResponseImp(const CHttpResponseImp&) = delete;
    CHttpResponseImp& operator=(const CHttpResponseImp&) = delete;

    void setResponseHead(const std::string& head) override;
    bool addResponseHeadEntry(const std::string& name, const std::string& value) override;
    std::string getResponseHeadEntry(const std::string& name) const override;
    std::string getResponseHeadEntry(unsigned int index) const override;
    std::string getResponseHead() const override;
    unsigned int getResponseHeadNums() const override;
    void parseHead() override;
    std::string getResponseBody() const override;
    void setResponseBody(const std::string& body) override;
    std::string getContentType() const override;
    bool setContentType(const std::string& type) override;
    void setContentLen(double length) override;
    double getContentLen() const override;
    std::string getCharset() const override;
    int getStatusCode() const override;
    void setStatusCode(int code) override;

private:
    friend class ResponseFill;

    /// What setContentType() does, without a copy.
    void AddContentType(std::string&& type);

    std::string m_strReserved; ///< Kept empty; holds the place that the ABI gives it.
    std::string m_strBody;
    std::string m_strHead;
    std::map<std::string, std::string> m_mapHeadEntry;
    double m_dContentLen = 0.0;
    int m_nStatusCode = -1;
};
