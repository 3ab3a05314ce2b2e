// SPDX-License-Identifier: Apache-2.0
#include "client/TlsConnecting.h"

#include <utility>

#include <pthread.h>

namespace {

constexpr std::string_view TO_PROXY = "CONNECT "; // a request that comes before the connection

thread_local TlsConnecting* t_current = nullptr;

} // namespace

TlsConnecting::TlsConnecting(const std::string& url) : m_outer(std::exchange(t_current, this)) {
    if (IsOverTls(url.c_str())) {
        Begin();
    }
}

void TlsConnecting::Begin() {
    m_tls = true;
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &m_former);
}

TlsConnecting::~TlsConnecting() {
    if (m_tls) {
        pthread_setcancelstate(m_former, nullptr);
    }
    t_current = m_outer;
}

void TlsConnecting::HearOfRequest(curl_infotype type, std::string_view text) {
    if (t_current == nullptr) {
        return;
    }
    if (!t_current->m_tls) {
        if (type == CURLINFO_TEXT && NamesTlsProxy(text)) {
            t_current->Begin();
        }
        return;
    }
    if (type == CURLINFO_TEXT && SaysThatItConnects(text)) {
        pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
    }
    if (type == CURLINFO_HEADER_OUT && !BeginsWith(text, TO_PROXY)) { // the request goes out
        pthread_setcancelstate(t_current->m_former, nullptr);
    }
}
