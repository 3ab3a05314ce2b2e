// SPDX-License-Identifier: Apache-2.0
/// @file
/// Keeps a transfer whole while libcurl makes a TLS connection for it.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include <curl/curl.h>

#include "client/LibcurlLine.h"

/// While it lives, its thread is not cancelled as long as the transfer makes a TLS connection.
///
/// libcurl moves the parts of such a connection about as it connects them. Were the thread ended there, closing the
/// handle would free some of them twice. In the rest of a transfer a thread may be cancelled.
class TlsConnecting {
public:
    /// Before a transfer is performed. Whether it has to connect is not known, so it counts as connecting.
    explicit TlsConnecting(const std::string& url);
    ~TlsConnecting();
    TlsConnecting(const TlsConnecting&) = delete;
    TlsConnecting& operator=(const TlsConnecting&) = delete;

    /// What libcurl tells of the transfer that this thread performs, if it performs one.
    /// Most lines are left alone at once: for each line of each transfer this is asked.
    static void Hear(curl_infotype type, const char* text, std::size_t size) {
        if (type == CURLINFO_TEXT ? text != nullptr && MayTellOfConnection(*text)
                                  : type == CURLINFO_HEADER_OUT) {
            HearOfRequest(type, {text, size});
        }
    }

private:
    static void HearOfRequest(curl_infotype type, std::string_view text);
    void Begin();

    TlsConnecting* const m_outer; ///< That of a transfer whose log sends.
    bool m_tls = false;           ///< To the server, or to a proxy.
    int m_former = 0;             ///< The thread's state before, and while there is a connection.
};
