// SPDX-License-Identifier: Apache-2.0
#include "message/ResponseFill.h"

#include <typeinfo>
#include <utility>

#include <httpclient/HttpResponse.h>

#include "message/HttpResponseImp.h"

ResponseFill::ResponseFill(CHttpResponse& response, std::string&& type)
    : m_response(response), m_pOwn(nullptr), m_type(std::move(type)) {
    CHttpResponseInter* imp = response.m_pImp.get();
    // Exactly this class: one that derives from it may override any setter.
    if (imp != nullptr && typeid(*imp) == typeid(CHttpResponseImp)) {
        m_pOwn = static_cast<CHttpResponseImp*>(imp);
        m_pOwn->AddContentType(std::move(m_type));
    }
}

void ResponseFill::Body(std::string&& body) {
    if (m_pOwn != nullptr) {
        m_pOwn->m_strBody = std::move(body);
    } else {
        m_response.setResponseBody(body);
    }
}

void ResponseFill::Head(std::string&& head) {
    if (m_pOwn != nullptr) {
        m_pOwn->m_strHead = std::move(head);
    } else {
        m_response.setResponseHead(head);
    }
}

void ResponseFill::ContentType() {
    if (m_pOwn == nullptr) {
        m_response.setContentType(m_type);
    }
}
