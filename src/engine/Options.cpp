// SPDX-License-Identifier: Apache-2.0
// What can be wrong with options.
#include "engine/Options.h"

#include <stdexcept>

#include "http1/RequestHead.h"

namespace httpclient {

namespace {

void Require(bool holds, const char* what) {
    if (!holds) {
        throw std::invalid_argument(what);
    }
}

bool IsPositive(std::chrono::milliseconds time) {
    return time.count() > 0;
}

} // namespace

void CheckOptions(const ClientOptions::Body& options) {
    Require(IsPositive(options.timeout), "httpclient::ClientOptions: timeout must be above 0");
    Require(!options.attemptTimeoutSet || IsPositive(options.attemptTimeout),
            "httpclient::ClientOptions: attemptTimeout must be above 0");
    Require(IsPositive(options.connectTimeout), "httpclient::ClientOptions: connectTimeout must be above 0");
    Require(http1::IsFieldValue(options.userAgent), "httpclient::ClientOptions: userAgent is no field value");
    const RetryPolicy::Body& retry = options.retry.internals();
    Require(retry.attempts >= 1, "httpclient::RetryPolicy: attempts must be at least 1");
    Require(retry.budget >= 0, "httpclient::RetryPolicy: budget must not be below 0"); // false for a NaN, too
    Require(retry.pauses.first.count() >= 0 && retry.pauses.second.count() >= 0,
            "httpclient::RetryPolicy: pauses must not be below 0");
}

void CheckOptions(const EngineOptions::Body& options) {
    Require(options.loops > 0, "httpclient::EngineOptions: loops must be at least 1");
    Require(options.callbackThreads > 0 || options.executor,
            "httpclient::EngineOptions: callbackThreads must be at least 1 without an executor");
    Require(options.maxConnections.first > 0 && options.maxConnections.second > 0,
            "httpclient::EngineOptions: maxConnections must be at least 1");
    Require(IsPositive(options.idleTimeout), "httpclient::EngineOptions: idleTimeout must be above 0");
    Require(IsPositive(options.maxAge), "httpclient::EngineOptions: maxAge must be above 0");
    Require(IsPositive(options.nameLifetime), "httpclient::EngineOptions: nameLifetime must be above 0");
}

} // namespace httpclient
