// SPDX-License-Identifier: Apache-2.0
#include "setting/Outcomes.h"

using namespace httpclient;

std::string Told(const Result& result) {
    if (result) {
        return std::to_string(result->status()) + " " + result->body();
    }
    const Failure& failure = result.failure();
    return std::string(ToString(failure.kind())) + " in " + ToString(failure.phase());
}

std::string ToldFully(const Result& result) {
    if (result) {
        return Told(result) + ", attempts " + std::to_string(result->attempts()) +
               (result->reusedConnection() ? ", reused" : "");
    }
    const Failure& failure = result.failure();
    return Told(result) + (failure.requestSent() ? ", sent" : ", not sent") +
           (failure.retryable() ? ", retryable" : "") + ", attempts " + std::to_string(failure.attempts());
}
