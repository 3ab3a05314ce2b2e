// SPDX-License-Identifier: Apache-2.0
#include "client/StrictRequest.h"

#include <algorithm>
#include <chrono>
#include <string_view>
#include <typeinfo>
#include <utility>

#include <httpclient/HttpRequest.h>

#include "engine/Address.h"
#include "engine/RequestBody.h"
#include "http1/Bytes.h"
#include "http1/RequestHead.h"
#include "message/HttpRequestImp.h"
#include "support/Cleansing.h"

using httpclient::http1::EqualsIgnoringCase;

namespace {

/// What the engine refuses.
constexpr auto NO_METHOD = static_cast<httpclient::Method>(-1);

// Never destroyed, so that threads that outlive main() may still use them.
const std::string& COOKIE = *new std::string("Cookie");
const std::string& FORM = *new std::string("application/x-www-form-urlencoded");

template <class Value>
bool Mentions(const std::map<std::string, Value>& entries, std::string_view lowerName) {
    return std::any_of(entries.begin(), entries.end(),
                       [&](const auto& entry) { return EqualsIgnoringCase(entry.first, lowerName); });
}

} // namespace

httpclient::Request StrictRequest::From(const CHttpRequest& request, unsigned int timeoutSeconds, Text text) {
    StrictRequest made(request);
    made.SetMethod();
    made.SetTarget();
    made.SetHead();
    made.SetBody(text);
    made.PlaceParameters();
    made.m_body->timeout = timeoutSeconds == 0
                               ? std::chrono::milliseconds::max()
                               : std::chrono::milliseconds(std::chrono::seconds(timeoutSeconds));
    return httpclient::Request(std::move(made.m_body));
}

StrictRequest::StrictRequest(const CHttpRequest& request)
    : m_request(request), m_pOwn(nullptr), m_body(std::make_unique<Body>(NO_METHOD, std::string())) {
    const CHttpRequestInter* imp = request.m_pImp.get();
    // Exactly this class: one that derives from it may override any getter.
    if (imp != nullptr && typeid(*imp) == typeid(CHttpRequestImp)) {
        m_pOwn = static_cast<const CHttpRequestImp*>(imp);
    }
    m_body->door.secret = true;
}

/// Exactly the verb that is set.
void StrictRequest::SetMethod() {
    switch (m_request.getVerb()) {
    case HTTPOPERATION_GET:
        m_body->method = httpclient::Method::Get;
        break;
    case HTTPOPERATION_PUT:
        m_body->method = httpclient::Method::Put;
        break;
    case HTTPOPERATION_POST:
        m_body->method = httpclient::Method::Post;
        break;
    case HTTPOPERATION_DELETE:
        m_body->method = httpclient::Method::Delete;
        break;
    case HTTPOPERATION_HEAD:
        m_body->method = httpclient::Method::Head;
        break;
    default:
        break;
    }
}

/// The path, which must be one; an empty one means "/".
void StrictRequest::SetTarget() {
    m_body->target = m_pOwn != nullptr ? m_pOwn->m_strUrlPath : m_request.getUrlPath();
    if (m_body->target.empty()) {
        m_body->target = '/';
    }
}

/// Defaults, cookie and header entries.
void StrictRequest::SetHead() {
    if (m_pOwn != nullptr) {
        const Entries& entries = m_pOwn->m_mapHeadEntry;
        m_body->door.decodes = !entries.empty() && !m_pOwn->getAcceptEncoding().empty();
        return TakeEntries(entries, m_pOwn->m_strCookie);
    }
    m_body->door.decodes = !m_request.getAcceptEncoding().empty();
    Entries entries = m_request.getRequestHead();
    const Cleansing cleansing(entries); // a host may authorize itself with what stands there
    std::string cookie = m_request.getCustomCookieParam();
    const Cleansing cleansingCookie(cookie);
    TakeEntries(entries, cookie);
}

/// The header entries in the order of their names, defaults and cookie before them.
void StrictRequest::TakeEntries(const Entries& entries, const std::string& cookie) {
    m_body->door.acceptsAll = true;
    m_body->fields.reserve(entries.size() + (cookie.empty() ? 0 : 1));
    SetCookie(entries, cookie);
    for (const auto& [name, value] : entries) {
        SetEntry(name, value);
    }
}

/// A cookie only when there is one; an entry of that name replaces it.
void StrictRequest::SetCookie(const Entries& entries, const std::string& cookie) {
    const std::string_view text = httpclient::http1::Trimmed(cookie);
    if (!text.empty() && !Mentions(entries, "cookie")) {
        m_body->fields.emplace_back(COOKIE, text);
    }
}

/// An entry without a value is left out, and a default of its name with it.
void StrictRequest::SetEntry(const std::string& name, const std::string& value) {
    const std::string_view text = httpclient::http1::Trimmed(value);
    if (EqualsIgnoringCase(name, "content-type")) {
        m_defaultContentType = false;
    }
    if (EqualsIgnoringCase(name, "accept")) {
        m_body->door.acceptsAll = false;
    }
    if (text.empty()) {
        m_body->door.withoutUserAgent =
            m_body->door.withoutUserAgent || EqualsIgnoringCase(name, "user-agent");
        return;
    }
    // Any other name that routes or frames the message is refused by the engine.
    if (EqualsIgnoringCase(name, "host") && m_body->door.host.empty()) {
        m_body->door.host = text;
        if (!httpclient::engine::IsAuthority(m_body->door.host)) {
            m_body->door.refusal = "the entry Host has to be a host, or host and port";
        }
        return;
    }
    m_body->fields.emplace_back(name, text);
}

/// Every byte of the request's own body. That of a GET or HEAD is refused by the engine.
void StrictRequest::SetBody(Text text) {
    if (text == Text::Lent && m_pOwn != nullptr) {
        m_body->door.lentText = &m_pOwn->m_strContent;
    } else {
        m_body->text = m_request.getContent();
    }
    if (m_body->Text().empty()) {
        return;
    }
    m_body->content = Body::Content::Text;
    if (m_defaultContentType) {
        m_body->contentType = FORM; // as ever
    }
}

bool StrictRequest::IsFormMethod() const {
    return m_body->method == httpclient::Method::Post || m_body->method == httpclient::Method::Put;
}

/// The parameters are the form body of a POST or PUT that has no body of its own. Else they go into the query.
void StrictRequest::PlaceParameters() {
    if (m_request.getParamNums() == 0) {
        return;
    }
    std::string parameters = Parameters();
    const Cleansing cleansing(parameters);
    if (!IsFormMethod() || m_body->content != Body::Content::None) {
        httpclient::http1::AppendQuery(m_body->target, parameters);
        return;
    }
    if (parameters.empty()) {
        return;
    }
    m_body->content = Body::Content::Text;
    m_body->door.lentText = nullptr;
    m_body->text = parameters;
    if (m_defaultContentType) {
        m_body->contentType = FORM;
    }
}

/// Name and value escaped; one without values is left out, one that cannot be converted must not go out as another.
std::string StrictRequest::Parameters() {
    if (m_pOwn == nullptr) {
        std::string text = m_request.getParamsAppendInURL(); // as another implementation has it
        return text.substr(text.empty() || text.front() != '?' ? 0 : 1);
    }
    std::string charset = m_request.getAcceptCharset();
    if (charset.empty()) {
        charset = DEFAULT_CHARSET;
    }
    std::string text;
    std::string converted;
    for (const auto& [name, values] : m_request.getRequestParams()) {
        for (const std::string& value : values) {
            converted.clear();
            if (m_request.codeSetConvert(charset, URL_CHARSET, value, converted) < 0) {
                m_body->door.refusal = "the value of a parameter cannot be converted from its character set";
            }
            httpclient::http1::AppendPair(text, name, converted);
        }
    }
    return text;
}
