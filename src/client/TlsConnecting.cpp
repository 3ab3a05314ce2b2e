// SPDX-License-Identifier: Apache-2.0
#include "client/TlsConnecting.h"

#include <cstddef>
#include <utility>

#include <pthread.h>
#include <strings.h>

namespace {

constexpr std::string_view SCHEME = "https:";
constexpr std::string_view PROXY = "Uses proxy env variable ";
constexpr std::string_view VALUE = " == '";
constexpr std::string_view TO_PROXY = "CONNECT ";  // a request that comes before the connection
constexpr std::string_view CONNECTS = "  Trying "; // again, where a kept connection turns out to be dead

thread_local TlsConnecting* t_current = nullptr;

bool BeginsWith(std::string_view text, std::string_view begin) {
    return text.substr(0, begin.size()) == begin;
}

/// @return whether a URL begins with the scheme of TLS, whatever its case.
bool NamesTls(std::string_view url) {
    return url.size() >= SCHEME.size() && strncasecmp(url.data(), SCHEME.data(), SCHEME.size()) == 0;
}

/// @return whether this is libcurl's line about the proxy that the environment names, and TLS is made to that.
bool IsAboutTlsProxy(std::string_view line) {
    if (!BeginsWith(line, PROXY)) {
        return false;
    }
    const std::size_t value = line.find(VALUE);
    return value != std::string_view::npos && NamesTls(line.substr(value + VALUE.size()));
}

} // namespace

TlsConnecting::TlsConnecting(const std::string& url) : m_outer(std::exchange(t_current, this)) {
    if (NamesTls(url)) {
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
        if (type == CURLINFO_TEXT && IsAboutTlsProxy(text)) {
            t_current->Begin();
        }
        return;
    }
    if (type == CURLINFO_TEXT && BeginsWith(text, CONNECTS)) {
        pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
    }
    if (type == CURLINFO_HEADER_OUT && !BeginsWith(text, TO_PROXY)) { // the request goes out
        pthread_setcancelstate(t_current->m_former, nullptr);
    }
}
