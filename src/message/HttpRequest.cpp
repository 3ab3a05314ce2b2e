// SPDX-License-Identifier: Apache-2.0
#include <utility>

#include <httpclient/HttpRequest.h>

#include "message/HttpRequestImp.h"

// Every operation forwards; without an implementation each answers a neutral value.

CHttpRequest::CHttpRequest() : m_pImp(std::make_unique<CHttpRequestImp>()) {}

CHttpRequest::~CHttpRequest() = default;

bool CHttpRequest::addRequestHeadEntry(const std::string& name, const std::string& value) {
    return m_pImp ? m_pImp->addRequestHeadEntry(name, value) : false;
}

bool CHttpRequest::removeRequestHeadEntry(const std::string& name) {
    return m_pImp ? m_pImp->removeRequestHeadEntry(name) : false;
}

void CHttpRequest::removeRequestHead() {
    if (m_pImp) {
        m_pImp->removeRequestHead();
    }
}

std::string CHttpRequest::getRequestHeadEntry(const std::string& name) const {
    return m_pImp ? m_pImp->getRequestHeadEntry(name) : "";
}

std::string CHttpRequest::getRequestHeadEntry(unsigned int index) const {
    return m_pImp ? m_pImp->getRequestHeadEntry(index) : "";
}

unsigned int CHttpRequest::getRequestHeadEntryNums() const {
    return m_pImp ? m_pImp->getRequestHeadEntryNums() : 0;
}

std::map<std::string, std::string> CHttpRequest::getRequestHead() const {
    return m_pImp ? m_pImp->getRequestHead() : std::map<std::string, std::string>();
}

bool CHttpRequest::addParam(const std::string& name, const std::string& value) {
    return m_pImp ? m_pImp->addParam(name, value) : false;
}

bool CHttpRequest::addParam(const std::string& name, std::vector<std::string> values) {
    return m_pImp ? m_pImp->addParam(name, std::move(values)) : false;
}

// By value: the signature is part of the ABI.
// cppcheck-suppress passedByValue
bool CHttpRequest::removeParam(std::string name) { // NOLINT(performance-unnecessary-value-param)
    return m_pImp ? m_pImp->removeParam(name) : false;
}

void CHttpRequest::RemoveAllParams() {
    if (m_pImp) {
        m_pImp->RemoveAllParams();
    }
}

std::vector<std::string> CHttpRequest::getParam(const std::string& name) const {
    return m_pImp ? m_pImp->getParam(name) : std::vector<std::string>();
}

std::vector<std::string> CHttpRequest::getParam(unsigned int index) const {
    return m_pImp ? m_pImp->getParam(index) : std::vector<std::string>();
}

std::string CHttpRequest::getParamsAppendInURL() const {
    return m_pImp ? m_pImp->getParamsAppendInURL() : "";
}

unsigned int CHttpRequest::getParamNums() const {
    return m_pImp ? m_pImp->getParamNums() : 0;
}

std::map<std::string, std::vector<std::string>> CHttpRequest::getRequestParams() const {
    return m_pImp ? m_pImp->getRequestParams() : std::map<std::string, std::vector<std::string>>();
}

void CHttpRequest::setCustomCookieParam(const std::string& cookie) {
    if (m_pImp) {
        m_pImp->setCustomCookieParam(cookie);
    }
}

std::string CHttpRequest::getCustomCookieParam() const {
    return m_pImp ? m_pImp->getCustomCookieParam() : "";
}

bool CHttpRequest::setContentType(const std::string& type) {
    return m_pImp ? m_pImp->setContentType(type) : false;
}

std::string CHttpRequest::getContentType() const {
    return m_pImp ? m_pImp->getContentType() : "";
}

bool CHttpRequest::setContentEncoding(const std::string& encoding) {
    return m_pImp ? m_pImp->setContentEncoding(encoding) : false;
}

std::string CHttpRequest::getContentEncoding() const {
    return m_pImp ? m_pImp->getContentEncoding() : "";
}

bool CHttpRequest::setContentLanguage(const std::string& language) {
    return m_pImp ? m_pImp->setContentLanguage(language) : false;
}

std::string CHttpRequest::getContentLanguage() const {
    return m_pImp ? m_pImp->getContentLanguage() : "";
}

// Deliberate: the two operations on the body are the only ones that need an implementation.
bool CHttpRequest::setContent(const std::string& body) {
    return m_pImp->setContent(body);
}

std::string CHttpRequest::getContent() const {
    return m_pImp->getContent();
}

bool CHttpRequest::setAcceptCharset(const std::string& charset) {
    return m_pImp ? m_pImp->setAcceptCharset(charset) : false;
}

std::string CHttpRequest::getAcceptCharset() const {
    return m_pImp ? m_pImp->getAcceptCharset() : "";
}

bool CHttpRequest::setAcceptLanguage(const std::string& language) {
    return m_pImp ? m_pImp->setAcceptLanguage(language) : false;
}

std::string CHttpRequest::getAcceptLanguage() const {
    return m_pImp ? m_pImp->getAcceptLanguage() : "";
}

bool CHttpRequest::setAcceptEncoding(const std::string& encoding) {
    return m_pImp ? m_pImp->setAcceptEncoding(encoding) : false;
}

std::string CHttpRequest::getAcceptEncoding() const {
    return m_pImp ? m_pImp->getAcceptEncoding() : "";
}

bool CHttpRequest::setAccept(const std::string& types) {
    return m_pImp ? m_pImp->setAccept(types) : false;
}

std::string CHttpRequest::getAccept() const {
    return m_pImp ? m_pImp->getAccept() : "";
}

bool CHttpRequest::setForwardFilter(const std::string& filter) {
    return m_pImp ? m_pImp->setForwardFilter(filter) : false;
}

void CHttpRequest::setVerb(HTTPOPERATIONTYPE verb) {
    if (m_pImp) {
        m_pImp->setVerb(verb);
    }
}

HTTPOPERATIONTYPE CHttpRequest::getVerb() const {
    return m_pImp ? m_pImp->getVerb() : HTTPOPERATION_NOT_SET;
}

void CHttpRequest::setUrlPath(const std::string& path) {
    if (m_pImp) {
        m_pImp->setUrlPath(path);
    }
}

std::string CHttpRequest::getUrlPath() const {
    return m_pImp ? m_pImp->getUrlPath() : "";
}

std::string CHttpRequest::encodeParam(const std::string& text) const {
    return m_pImp ? m_pImp->encodeParam(text) : "";
}

std::string CHttpRequest::decodeParam(const std::string& text) {
    return m_pImp ? m_pImp->decodeParam(text) : "";
}

int CHttpRequest::codeSetConvert(const std::string& from, const std::string& to, const std::string& in,
                                 std::string& out) const {
    return m_pImp ? m_pImp->codeSetConvert(from, to, in, out) : 0;
}
