// SPDX-License-Identifier: Apache-2.0
#include "message/HttpRequestImp.h"

#include "message/NamedEntries.h"
#include "support/Cleansing.h"

using named_entries::CONTENT_TYPE;

namespace {

// Never destroyed, so that threads that outlive main() may still use them.
const std::string& CONTENT_ENCODING = *new std::string("Content-Encoding");
const std::string& CONTENT_LANGUAGE = *new std::string("Content-Language");
const std::string& ACCEPT_CHARSET = *new std::string("Accept-Charset");
const std::string& ACCEPT_LANGUAGE = *new std::string("Accept-Language");
const std::string& ACCEPT_ENCODING = *new std::string("Accept-Encoding");
// Deliberately not HTTP's "Accept": the entry travels under this name.
const std::string& ACCEPT_MIME = *new std::string("Accept_MIME");
const std::string& FORWARD_FILTER = *new std::string("XX-Forward-Filter");

} // namespace

CHttpRequestInter::~CHttpRequestInter() = default;

void CHttpRequestInter::setCustomCookieParam(const std::string& /*cookie*/) {}

std::string CHttpRequestInter::getCustomCookieParam() const {
    return "";
}

CHttpRequestImp::CHttpRequestImp() : m_eVerb(HTTPOPERATION_NOT_SET), m_pCurl(MakeCurlEasy()) {}

CHttpRequestImp::~CHttpRequestImp() {
    if (m_pCurl) {
        // Or libcurl would save, change and restore the process's disposition of SIGPIPE as it closes the handle,
        // and requests that end on several threads at once would restore what another one has changed.
        curl_easy_setopt(m_pCurl.get(), CURLOPT_NOSIGNAL, 1L);
    }
    m_pCurl.reset(); // before the texts and maps go
}

bool CHttpRequestImp::addRequestHeadEntry(const std::string& name, const std::string& value) {
    return named_entries::Add(m_mapHeadEntry, name, value);
}

bool CHttpRequestImp::removeRequestHeadEntry(const std::string& name) {
    return m_mapHeadEntry.erase(name) > 0;
}

void CHttpRequestImp::removeRequestHead() {
    m_mapHeadEntry.clear();
}

std::string CHttpRequestImp::getRequestHeadEntry(const std::string& name) const {
    return named_entries::Get(m_mapHeadEntry, name);
}

std::string CHttpRequestImp::getRequestHeadEntry(unsigned int index) const {
    return named_entries::Get(m_mapHeadEntry, index);
}

unsigned int CHttpRequestImp::getRequestHeadEntryNums() const {
    return static_cast<unsigned int>(m_mapHeadEntry.size());
}

std::map<std::string, std::string> CHttpRequestImp::getRequestHead() const {
    std::map<std::string, std::string> head;
    try {
        for (const auto& entry : m_mapHeadEntry) {
            head.emplace_hint(head.end(), entry);
        }
    } catch (const std::bad_alloc&) {
        Cleanse(head); // a host may authorize itself with what stands there
        throw;
    }
    return head;
}

void CHttpRequestImp::setCustomCookieParam(const std::string& cookie) {
    m_strCookie = cookie;
}

std::string CHttpRequestImp::getCustomCookieParam() const {
    return m_strCookie;
}

// The well-known header entries have no fields of their own; their getters go through the virtual look-up, so
// that a class that overrides it changes them too.

bool CHttpRequestImp::setContentType(const std::string& type) {
    return addRequestHeadEntry(CONTENT_TYPE, type);
}

std::string CHttpRequestImp::getContentType() const {
    return getRequestHeadEntry(CONTENT_TYPE);
}

bool CHttpRequestImp::setContentEncoding(const std::string& encoding) {
    return addRequestHeadEntry(CONTENT_ENCODING, encoding);
}

std::string CHttpRequestImp::getContentEncoding() const {
    return getRequestHeadEntry(CONTENT_ENCODING);
}

bool CHttpRequestImp::setContentLanguage(const std::string& language) {
    return addRequestHeadEntry(CONTENT_LANGUAGE, language);
}

std::string CHttpRequestImp::getContentLanguage() const {
    return getRequestHeadEntry(CONTENT_LANGUAGE);
}

bool CHttpRequestImp::setContent(const std::string& body) {
    m_strContent = body;
    return true;
}

std::string CHttpRequestImp::getContent() const {
    return m_strContent;
}

bool CHttpRequestImp::setAcceptCharset(const std::string& charset) {
    return addRequestHeadEntry(ACCEPT_CHARSET, charset);
}

std::string CHttpRequestImp::getAcceptCharset() const {
    return getRequestHeadEntry(ACCEPT_CHARSET);
}

bool CHttpRequestImp::setAcceptLanguage(const std::string& language) {
    return addRequestHeadEntry(ACCEPT_LANGUAGE, language);
}

std::string CHttpRequestImp::getAcceptLanguage() const {
    return getRequestHeadEntry(ACCEPT_LANGUAGE);
}

bool CHttpRequestImp::setAcceptEncoding(const std::string& encoding) {
    return addRequestHeadEntry(ACCEPT_ENCODING, encoding);
}

std::string CHttpRequestImp::getAcceptEncoding() const {
    return getRequestHeadEntry(ACCEPT_ENCODING);
}

bool CHttpRequestImp::setAccept(const std::string& types) {
    return addRequestHeadEntry(ACCEPT_MIME, types);
}

std::string CHttpRequestImp::getAccept() const {
    return getRequestHeadEntry(ACCEPT_MIME);
}

bool CHttpRequestImp::setForwardFilter(const std::string& filter) {
    return addRequestHeadEntry(FORWARD_FILTER, filter);
}

void CHttpRequestImp::setVerb(HTTPOPERATIONTYPE verb) {
    m_eVerb = verb;
}

HTTPOPERATIONTYPE CHttpRequestImp::getVerb() const {
    return m_eVerb;
}

void CHttpRequestImp::setUrlPath(const std::string& path) {
    m_strUrlPath = path;
}

std::string CHttpRequestImp::getUrlPath() const {
    return m_strUrlPath;
}
