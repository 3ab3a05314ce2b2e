// SPDX-License-Identifier: Apache-2.0
/// @file
/// One exchange with the token service.
#pragma once

#include <chrono>
#include <string>
#include <system_error>

#include <httpclient/Result.h>

namespace httpclient::engine {

class Core;

/// Why an exchange gave no token.
struct TokenRefusal {
    FailureKind cause =
        FailureKind::Identity; ///< of the exchange's own call; Identity: it was answered, or not made
    std::error_code code;
    int status = 0;             ///< of an answer that refuses; 0: it was something else
    const char* what = nullptr; ///< what else; null: the cause tells

    /// @return one line for a log, without anything secret.
    std::string Describe() const;
};

/// How an exchange ended: with a token, or a refusal.
struct TokenOutcome {
    std::string token; ///< fit for a header line; the caller wipes it. Empty: there is none
    TokenRefusal refusal;
};

/// How long an exchange may take, whoever waits for it.
constexpr std::chrono::milliseconds EXCHANGE_TIMEOUT{30'000};
/// How long its connection may take to be made.
constexpr std::chrono::milliseconds EXCHANGE_CONNECT_TIMEOUT{10'000};

/// Takes the token out of the answer of an exchange, and logs how it went, as the first road does.
/// @param status of the answer; below 0: there was none. @return the token, or why there is none. @throw std::bad_alloc
TokenOutcome ReadTokenAnswer(int status, const std::string& body);

/// Exchanges the process's JWT for a service's token: a call of the engine's own, on this thread. It waits as long as
/// EXCHANGE_TIMEOUT, and is ended with the engine. What it received and sent is wiped.
/// @throw std::bad_alloc
TokenOutcome AskTokenService(Core& core, const std::string& service);

} // namespace httpclient::engine
