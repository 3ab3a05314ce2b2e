// SPDX-License-Identifier: Apache-2.0
#include "BareLoop.h"

#include <utility>

namespace {

size_t Append(char* data, size_t size, size_t count, void* user) {
    static_cast<std::string*>(user)->append(data, size * count);
    return count;
}

int Ignore(CURL*, curl_infotype, char*, size_t, void*) {
    return 0;
}

} // namespace

BareLoop::BareLoop(std::string url, std::string header)
    : m_url(std::move(url)), m_header(std::move(header)), m_curl(curl_easy_init()) {}

BareLoop::~BareLoop() {
    curl_easy_cleanup(m_curl);
}

void BareLoop::UseTls(const std::string& ca, const std::string& certificate, const std::string& key) {
    curl_easy_setopt(m_curl, CURLOPT_SSL_VERIFYPEER, 1L);
    curl_easy_setopt(m_curl, CURLOPT_CAPATH, ca.substr(0, ca.rfind('/') + 1).c_str());
    curl_easy_setopt(m_curl, CURLOPT_CAINFO, ca.c_str());
    curl_easy_setopt(m_curl, CURLOPT_SSL_VERIFYHOST, 0L);
    curl_easy_setopt(m_curl, CURLOPT_SSLCERT, certificate.c_str());
    curl_easy_setopt(m_curl, CURLOPT_SSLCERTTYPE, "PEM");
    curl_easy_setopt(m_curl, CURLOPT_SSLKEY, key.c_str());
    curl_easy_setopt(m_curl, CURLOPT_KEYPASSWD, "");
}

void BareLoop::SetBeforeVerb(std::string& head) {
    curl_easy_setopt(m_curl, CURLOPT_HEADERDATA, &head);
    curl_easy_setopt(m_curl, CURLOPT_HEADERFUNCTION, &Append);
    curl_easy_setopt(m_curl, CURLOPT_DEBUGFUNCTION, &Ignore);
    curl_easy_setopt(m_curl, CURLOPT_VERBOSE, 1L);
    curl_easy_setopt(m_curl, CURLOPT_COOKIE, "");
}

curl_slist* BareLoop::HeaderList() const {
    return m_header.empty() ? nullptr : curl_slist_append(nullptr, m_header.c_str());
}

void BareLoop::SetCommon(std::string& body, const curl_slist* list) {
    curl_easy_setopt(m_curl, CURLOPT_URL, m_url.c_str());
    curl_easy_setopt(m_curl, CURLOPT_WRITEFUNCTION, &Append);
    curl_easy_setopt(m_curl, CURLOPT_WRITEDATA, &body);
    curl_easy_setopt(m_curl, CURLOPT_HTTPHEADER, list);
    curl_easy_setopt(m_curl, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(m_curl, CURLOPT_CONNECTTIMEOUT, 10L);
    curl_easy_setopt(m_curl, CURLOPT_TIMEOUT, 30L);
}

long BareLoop::Perform() {
    long status = 0;
    if (curl_easy_perform(m_curl) == CURLE_OK) {
        curl_easy_getinfo(m_curl, CURLINFO_RESPONSE_CODE, &status);
    }
    const char* type = nullptr;
    curl_easy_getinfo(m_curl, CURLINFO_CONTENT_TYPE, &type);
    curl_off_t length = 0;
    curl_easy_getinfo(m_curl, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &length);
    return status;
}

long BareLoop::Get() {
    std::string head;
    std::string body;
    SetBeforeVerb(head);
    curl_slist* list = HeaderList();
    SetCommon(body, list);
    curl_easy_setopt(m_curl, CURLOPT_POSTFIELDS, "");
    curl_easy_setopt(m_curl, CURLOPT_CUSTOMREQUEST, "GET");
    curl_easy_setopt(m_curl, CURLOPT_READFUNCTION, nullptr);
    const long status = Perform();
    m_bodyBytes = body.size();
    curl_slist_free_all(list);
    return status;
}

long BareLoop::Post(const std::string& content) {
    std::string head;
    std::string body;
    SetBeforeVerb(head);
    curl_slist* list = HeaderList();
    SetCommon(body, list);
    curl_easy_setopt(m_curl, CURLOPT_CUSTOMREQUEST, "POST");
    curl_easy_setopt(m_curl, CURLOPT_POSTFIELDS, content.c_str());
    const long status = Perform();
    m_bodyBytes = body.size();
    curl_slist_free_all(list);
    return status;
}
