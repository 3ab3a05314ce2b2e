// SPDX-License-Identifier: Apache-2.0
#include <httpclient/HttpResponse.h>

#include "message/ExplainedResponse.h"

// Every operation forwards; without an implementation each answers a neutral value.

CHttpResponse::CHttpResponse() : m_pImp(std::make_unique<ExplainedResponse>()) {}

CHttpResponse::~CHttpResponse() = default;

void CHttpResponse::setResponseHead(const std::string& head) {
    if (m_pImp) {
        m_pImp->setResponseHead(head);
    }
}

bool CHttpResponse::addResponseHeadEntry(const std::string& name, const std::string& value) {
    return m_pImp ? m_pImp->addResponseHeadEntry(name, value) : false;
}

std::string CHttpResponse::getResponseHeadEntry(const std::string& name) const {
    return m_pImp ? m_pImp->getResponseHeadEntry(name) : "";
}

std::string CHttpResponse::getResponseHeadEntry(unsigned int index) const {
    return m_pImp ? m_pImp->getResponseHeadEntry(index) : "";
}

std::string CHttpResponse::getResponseHead() const {
    return m_pImp ? m_pImp->getResponseHead() : "";
}

unsigned int CHttpResponse::getResponseHeadNums() const {
    return m_pImp ? m_pImp->getResponseHeadNums() : 0;
}

std::string CHttpResponse::getResponseBody() const {
    return m_pImp ? m_pImp->getResponseBody() : "";
}

void CHttpResponse::setResponseBody(const std::string& body) {
    if (m_pImp) {
        m_pImp->setResponseBody(body);
    }
}

std::string CHttpResponse::getContentType() const {
    return m_pImp ? m_pImp->getContentType() : "";
}

bool CHttpResponse::setContentType(const std::string& type) {
    return m_pImp ? m_pImp->setContentType(type) : false;
}

void CHttpResponse::setContentLen(double length) {
    if (m_pImp) {
        m_pImp->setContentLen(length);
    }
}

double CHttpResponse::getContentLen() const {
    return m_pImp ? m_pImp->getContentLen() : 0.0;
}

std::string CHttpResponse::getCharset() const {
    return m_pImp ? m_pImp->getCharset() : "";
}

// Deliberate: 0 without an implementation; the -1 of a new response is the implementation's.
int CHttpResponse::getStatusCode() const {
    return m_pImp ? m_pImp->getStatusCode() : 0;
}

void CHttpResponse::setStatusCode(int code) {
    if (m_pImp) {
        m_pImp->setStatusCode(code);
    }
}

const httpclient::Failure* CHttpResponse::getFailure() const {
    const auto* own = dynamic_cast<const ExplainedResponse*>(m_pImp.get());
    return own != nullptr && own->failure ? &own->failure->failure() : nullptr;
}
