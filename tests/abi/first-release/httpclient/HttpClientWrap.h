// SPDX-License-Identifier: Apache-2.0
/// @file
/// Ready-made clients.
#pragma once

#include <memory>
#include <string>

#include <httpclient/Export.h>
#include <httpclient/HttpClient.h>

/// Makes clients in the shape that the platform's services use most.
///
/// @par Thread Safety
/// Safe from any number of threads.
class HTTPCLIENT_EXPORT HttpClientWrap {
public:
    HttpClientWrap();
    // Not inline: it is part of the ABI.
    ~HttpClientWrap(); // NOLINT(performance-trivially-destructible)

    /// @param domain the host; an empty one is refused as in CHttpClient::setDomain().
    /// @param connectTimeout,requestTimeout in seconds.
    /// @param port the port, unchecked.
    /// @param ssl true: scheme "https" and TLS support.
    /// @return a client so set.
    /// @throw std::bad_alloc when memory is exhausted.
    static std::unique_ptr<CHttpClient> MakeClientPtr(const std::string& domain, unsigned int connectTimeout,
                                                      unsigned int requestTimeout, int port, bool ssl);
    /// @return an HTTPS client for port 32018 of the host's maintenance address, which is asked of the
    /// platform
    ///         at each call.
    static std::unique_ptr<CHttpClient> MakeSSLClientPtr(unsigned int connectTimeout,
                                                         unsigned int requestTimeout);
};
