// SPDX-License-Identifier: Apache-2.0
#include "message/RequestView.h"

#include <typeinfo>

#include <httpclient/HttpRequest.h>

#include "message/HttpRequestImp.h"

RequestView::RequestView(const CHttpRequest& request) : m_request(request), m_pOwn(nullptr) {
    const CHttpRequestInter* imp = request.m_pImp.get();
    // Exactly this class: one that derives from it may override any getter.
    if (imp != nullptr && typeid(*imp) == typeid(CHttpRequestImp))
        m_pOwn = static_cast<const CHttpRequestImp*>(imp);
}

const std::string& RequestView::UrlPath(std::string& copy) const {
    return m_pOwn != nullptr ? m_pOwn->m_strUrlPath : copy = m_request.getUrlPath();
}

const std::string& RequestView::Content(std::string& copy) const {
    return m_pOwn != nullptr ? m_pOwn->m_strContent : copy = m_request.getContent();
}

const std::string& RequestView::Cookie(std::string& copy) const {
    return m_pOwn != nullptr ? m_pOwn->m_strCookie : copy = m_request.getCustomCookieParam();
}

const std::string& RequestView::AcceptEncoding(std::string& copy) const {
    if (m_pOwn == nullptr)
        return copy = m_request.getAcceptEncoding();
    if (m_pOwn->m_mapHeadEntry.empty()) // as most are
        return copy;
    const std::string* encoding = m_pOwn->FindAcceptEncoding();
    return encoding != nullptr ? *encoding : copy;
}

const RequestView::Head& RequestView::RequestHead(Head& copy) const {
    return m_pOwn != nullptr ? m_pOwn->m_mapHeadEntry : copy = m_request.getRequestHead();
}
