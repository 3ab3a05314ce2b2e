// SPDX-License-Identifier: Apache-2.0
/// @file
/// What the options of clients and engines hold, with their defaults. A new one: its member here, its setter in the public
/// header and in ClientOptions.cpp or EngineOptions.cpp, its limits in Options.cpp.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <httpclient/Client.h>
#include <httpclient/Engine.h>

#include "net/TlsContext.h"

namespace httpclient {

class TlsOptions::Body {
public:
    net::TlsSettings settings;    ///< its name empty: the origin's host
    std::uint64_t passwordId = 0; ///< tells password functions apart, which cannot be compared; 0: none
};

class RetryPolicy::Body {
public:
    int attempts = 1;
    std::pair<std::chrono::milliseconds, std::chrono::milliseconds> pauses{std::chrono::milliseconds(50),
                                                                           std::chrono::milliseconds(2000)};
    double budget = 0.2;
    std::vector<int> statuses{429, 502, 503, 504};
};

class ClientOptions::Body {
public:
    std::string origin;
    std::chrono::milliseconds timeout{30'000};
    std::chrono::milliseconds attemptTimeout{0}; ///< 0: none
    std::chrono::milliseconds connectTimeout{2'000};
    bool attemptTimeoutSet = false;
    std::string connectTo;
    TlsOptions tls;
    RetryPolicy retry;
    Identity identity = Identity::None;
    bool identityAccess =
        false; ///< the access service's token for every request: CHttpClient::EnableSiaAccess()
    bool decompress = false;
    std::uint64_t maxBody = 64UL * 1024 * 1024;
    std::size_t maxHead = 64UL * 1024;
    std::string userAgent = "libhttpclient";
};

class EngineOptions::Body {
public:
    unsigned loops = 1;
    unsigned callbackThreads = 2;
    std::function<void(std::function<void()>)> executor;
    std::pair<std::size_t, std::size_t> maxConnections{100, 10'000}; ///< per origin, in all
    std::size_t maxWaiting = 10'000;
    std::chrono::milliseconds idleTimeout{30'000};
    std::chrono::milliseconds maxAge{600'000};
    std::chrono::milliseconds nameLifetime{30'000};
    std::shared_ptr<Observer> observer;
};

/// Checks what can be checked where a client is made, the origin and the place to connect to excepted.
/// @throw std::invalid_argument
void CheckOptions(const ClientOptions::Body& options);
/// Checks what an engine is made with. @throw std::invalid_argument
void CheckOptions(const EngineOptions::Body& options);

} // namespace httpclient
