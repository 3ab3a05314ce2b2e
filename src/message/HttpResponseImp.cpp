// SPDX-License-Identifier: Apache-2.0
#include "message/HttpResponseImp.h"

#include <utility>

#include "message/NamedEntries.h"

using named_entries::CONTENT_TYPE;

CHttpResponseInter::~CHttpResponseInter() = default;

CHttpResponseImp::CHttpResponseImp() = default;

CHttpResponseImp::~CHttpResponseImp() = default;

void CHttpResponseImp::setResponseHead(const std::string& head) {
    m_strHead = head;
}

bool CHttpResponseImp::addResponseHeadEntry(const std::string& name, const std::string& value) {
    return named_entries::Add(m_mapHeadEntry, name, value);
}

std::string CHttpResponseImp::getResponseHeadEntry(const std::string& name) const {
    return named_entries::Get(m_mapHeadEntry, name);
}

std::string CHttpResponseImp::getResponseHeadEntry(unsigned int index) const {
    return named_entries::Get(m_mapHeadEntry, index);
}

std::string CHttpResponseImp::getResponseHead() const {
    return m_strHead;
}

unsigned int CHttpResponseImp::getResponseHeadNums() const {
    return static_cast<unsigned int>(m_mapHeadEntry.size());
}

// Deliberate: entries come from addResponseHeadEntry alone, never from the raw text.
void CHttpResponseImp::parseHead() {}

std::string CHttpResponseImp::getResponseBody() const {
    return m_strBody;
}

void CHttpResponseImp::setResponseBody(const std::string& body) {
    m_strBody = body;
}

std::string CHttpResponseImp::getContentType() const {
    return getResponseHeadEntry(CONTENT_TYPE);
}

bool CHttpResponseImp::setContentType(const std::string& type) {
    return addResponseHeadEntry(CONTENT_TYPE, type);
}

void CHttpResponseImp::AddContentType(std::string&& type) {
    m_mapHeadEntry.try_emplace(CONTENT_TYPE, std::move(type));
}

void CHttpResponseImp::setContentLen(double length) {
    m_dContentLen = length;
}

double CHttpResponseImp::getContentLen() const {
    return m_dContentLen;
}

// Deliberately simple: what follows the first "=", whichever parameter it belongs to, to the end of the text.
std::string CHttpResponseImp::getCharset() const {
    const std::string type = getContentType();
    const std::string::size_type equals = type.find('=');
    if (equals == std::string::npos || equals == 0) {
        return "";
    }
    return type.substr(equals + 1);
}

int CHttpResponseImp::getStatusCode() const {
    return m_nStatusCode;
}

void CHttpResponseImp::setStatusCode(int code) {
    m_nStatusCode = code;
}
