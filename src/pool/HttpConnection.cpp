// SPDX-License-Identifier: Apache-2.0
#include "pool/HttpConnection.h"

#include <ctime>
#include <mutex>
#include <new>
#include <utility>

#include <pthread.h>

#include "support/ExitGate.h"

namespace {

std::mutex g_closing; // its destruction does nothing: threads may outlive main()

/// Who holds it does not exist in a forked child.
void RenewInChildren() {
    static std::once_flag once; // which a child that is forked amid it does anew
    std::call_once(once, [] { pthread_atfork(nullptr, nullptr, [] { new (&g_closing) std::mutex; }); });
}

/// Closes a handle. libcurl may change the process's disposition of SIGPIPE meanwhile, where no transfer went over
/// the handle, and restore what it found: one at a time, so that no two restore each other's.
template <class Owner> void Close(Owner& handle) {
    const std::lock_guard<std::mutex> lock(g_closing);
    handle.reset();
}

} // namespace

CHttpConnection::CHttpConnection(std::string address, int port)
    : m_strAddress(std::move(address)), m_nPort(port), m_pCurl(MakeCurlEasy()), m_pCurlM(curl_multi_init()) {
    RenewInChildren();
    if (m_pCurl) {
        ExitGate::Arm(); // OpenSSL is initialised by now, and a plain connection may do TLS, too
    }
}

CHttpConnection::~CHttpConnection() {
    Close(m_pCurl); // before the multi handle, which the members' own order would close first
    Close(m_pCurlM);
}

CURL* CHttpConnection::GetCurl() const {
    return m_pCurl.get();
}

CURLM* CHttpConnection::GetCurlM() const {
    return m_pCurlM.get();
}

void CHttpConnection::DropCurl() {
    Close(m_pCurl);
}

void CHttpConnection::DropHandles() {
    if (m_pCurl) {
        // So that it need not wait for others that close, nor for a slow name service.
        curl_easy_setopt(m_pCurl.get(), CURLOPT_NOSIGNAL, 1L);
#if LIBCURL_VERSION_NUM >= 0x075700 // 7.87.0
        curl_easy_setopt(m_pCurl.get(), CURLOPT_QUICK_EXIT, 1L);
#endif
    }
    m_pCurl.reset(); // takes itself out of the multi handle
    Close(m_pCurlM);
}

bool CHttpConnection::HasHandles() const {
    return m_pCurl && m_pCurlM;
}

void CHttpConnection::TakeMissingHandles(CHttpConnection& other) {
    if (!m_pCurl) {
        m_pCurl = std::move(other.m_pCurl);
    }
    if (!m_pCurlM) {
        m_pCurlM = std::move(other.m_pCurlM);
    }
}

bool CHttpConnection::IsIdle() const {
    return m_bIdle;
}

void CHttpConnection::SetIdle(bool idle) {
    m_bIdle = idle;
}

std::int64_t CHttpConnection::GetFreeTime() const {
    return m_nFreeTime;
}

void CHttpConnection::SetFreeTime(std::int64_t freeTime) {
    m_nFreeTime = freeTime;
}

std::int64_t CHttpConnection::GetFreeTimeDiff() const {
    return static_cast<std::int64_t>(time(nullptr)) - m_nFreeTime;
}
