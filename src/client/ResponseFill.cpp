// SPDX-License-Identifier: Apache-2.0
#include "client/ResponseFill.h"

#include <memory>
#include <mutex>
#include <typeinfo>
#include <utility>

#include <httpclient/HttpResponse.h>

#include "message/ExplainedResponse.h"

const CHttpResponse& NoAnswer() {
    static std::once_flag once;
    static const CHttpResponse* response = nullptr; // never destroyed: threads may outlive main()
    std::call_once(once, [] {
        auto made = std::make_unique<CHttpResponse>();
        made->setStatusCode(-1);
        response = made.release();
    });
    return *response;
}

std::string ResponseContentType(CURL* curl) {
    const char* type = nullptr; // libcurl's own text
    if (curl_easy_getinfo(curl, CURLINFO_CONTENT_TYPE, &type) != CURLE_OK || type == nullptr) {
        return "";
    }
    return type;
}

double ResponseContentLength(CURL* curl, double unanswered) {
    double length = unanswered;
    // The double form is the one whose "unknown" is -1.0; libcurl keeps it, though marked as deprecated.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    curl_easy_getinfo(curl, CURLINFO_CONTENT_LENGTH_DOWNLOAD, &length);
#pragma GCC diagnostic pop
    return length;
}

double KnownContentLength(double length, std::size_t received) {
    return length == UNKNOWN_LENGTH ? static_cast<double>(received) : length;
}

ResponseFill::ResponseFill(CHttpResponse& response, std::string&& type)
    : m_response(response), m_pOwn(nullptr), m_type(std::move(type)) {
    if (ExplainedResponse* own = Own(response)) {
        own->AddContentType(std::move(m_type));
        own->failure.reset();
        m_pOwn = own;
    }
}

/// @return the library's own implementation; null when it is another.
ExplainedResponse* ResponseFill::Own(CHttpResponse& response) {
    CHttpResponseInter* imp = response.m_pImp.get();
    // Exactly this class: one that derives from another of the library's may override any setter.
    return imp != nullptr && typeid(*imp) == typeid(ExplainedResponse) ? static_cast<ExplainedResponse*>(imp)
                                                                       : nullptr;
}

void ResponseFill::Explain(CHttpResponse& response, httpclient::Result&& failure) noexcept {
    if (ExplainedResponse* own = Own(response)) {
        own->failure.emplace(std::move(failure));
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
