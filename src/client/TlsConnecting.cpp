// SPDX-License-Identifier: Apache-2.0
#include "client/TlsConnecting.h"

#include <utility>

#include <pthread.h>
#include <strings.h>

namespace {

constexpr std::string_view SCHEME = "https:";
constexpr std::string_view TO_PROXY = "CONNECT ";  // a request that comes before the connection
constexpr std::string_view CONNECTS = "  Trying "; // again, where a kept connection turns out to be dead

thread_local TlsConnecting* t_current = nullptr;

bool BeginsWith(std::string_view text, std::string_view begin) {
    return text.substr(0, begin.size()) == begin;
}

} // namespace

TlsConnecting::TlsConnecting(const std::string& url)
    : m_outer(std::exchange(t_current, this)),
      m_tls(strncasecmp(url.c_str(), SCHEME.data(), SCHEME.size()) == 0) {
    if (m_tls) {
        pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &m_former);
    }
}

TlsConnecting::~TlsConnecting() {
    if (m_tls) {
        pthread_setcancelstate(m_former, nullptr);
    }
    t_current = m_outer;
}

void TlsConnecting::HearOfRequest(curl_infotype type, std::string_view text) {
    if (t_current == nullptr || !t_current->m_tls) {
        return;
    }
    if (type == CURLINFO_TEXT && BeginsWith(text, CONNECTS)) {
        pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
    }
    if (type == CURLINFO_HEADER_OUT && !BeginsWith(text, TO_PROXY)) { // the request goes out
        pthread_setcancelstate(t_current->m_former, nullptr);
    }
}
