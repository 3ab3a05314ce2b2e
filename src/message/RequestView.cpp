// SPDX-License-Identifier: Apache-2.0
#include "message/RequestView.h"

#include <typeinfo>

RequestView::RequestView(const CHttpRequest& request) : m_request(request), m_pOwn(nullptr) {
    const CHttpRequestInter* imp = request.m_pImp.get();
    // Exactly this class: one that derives from it may override any getter.
    if (imp != nullptr && typeid(*imp) == typeid(CHttpRequestImp)) {
        m_pOwn = static_cast<const CHttpRequestImp*>(imp);
    }
}

const std::string& RequestView::AcceptEncoding(std::string& copy) const {
    if (m_pOwn == nullptr) {
        return copy = m_request.getAcceptEncoding();
    }
    if (m_pOwn->m_mapHeadEntry.empty()) { // as most are
        return copy;
    }
    const std::string* encoding = m_pOwn->FindAcceptEncoding();
    return encoding != nullptr ? *encoding : copy;
}
