// SPDX-License-Identifier: Apache-2.0
/// @file
/// The bodies of Response, Failure and Result.
#pragma once

#include <memory>
#include <string>
#include <system_error>
#include <utility>

#include <httpclient/Response.h>
#include <httpclient/Result.h>

#include "engine/Times.h"
#include "http1/ResponseHead.h"

namespace httpclient {

class Response::Body {
public:
    http1::ResponseHead head;
    std::string content;
    Timings::Body times;
    Timings timings{times};
    int attempts = 0;
    bool reusedConnection = false;
};

class Failure::Body {
public:
    FailureKind kind = FailureKind::Internal;
    Phase phase = Phase::Prepare;
    std::error_code code;
    std::string message;
    bool requestSent = false;
    bool retryable = false;
    int attempts = 0;
    Timings::Body times;
    Timings timings{times};

    Body() = default;
    Body(const Body& other)
        : kind(other.kind), phase(other.phase), code(other.code), message(other.message),
          requestSent(other.requestSent), retryable(other.retryable), attempts(other.attempts),
          times(other.times) {}
    Body& operator=(const Body&) = delete;
    ~Body() = default;
};

class Result::Body {
public:
    explicit Body(Response answer) noexcept : response(std::move(answer)) {}
    explicit Body(Failure reason) noexcept : response(nullptr), failure(std::move(reason)), failed(true) {}

    Response response;        ///< without a body when the call failed
    Failure failure{nullptr}; ///< without a body when there is a response
    bool failed = false;
    bool shared = false; ///< stands for exhausted memory, and is never deleted
};

/// @return the outcome "memory is exhausted", which needs none.
/// @param phase where the call was. @param requestSent as Failure::requestSent().
Result OutOfMemory(Phase phase, bool requestSent) noexcept;

/// @return the outcome InvalidRequest of a call that did not begin; it is logged. @throw std::bad_alloc
Result Refused(const char* why);
/// @return the outcome Internal of a call that did not begin, for want of a resource; it is logged.
/// @throw std::bad_alloc
Result Prevented(const std::error_code& code);

/// To be called where an exception has been caught.
/// @return which resource was refused: the code of a std::system_error, and otherwise that memory is exhausted.
std::error_code CodeOfCaught() noexcept;

} // namespace httpclient
