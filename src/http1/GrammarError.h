// SPDX-License-Identifier: Apache-2.0
/// @file
/// What can be wrong with a message, as an error code.
#pragma once

#include <system_error>
#include <type_traits>

#include <httpclient/Result.h>

namespace httpclient::http1 {

/// What is wrong with a request or an answer. Each has a message for the log, which quotes nothing of the message.
enum class GrammarError {
    // of requests: InvalidRequest
    BadMethod = 1,
    BadTarget,      ///< not a path in URL form
    BadFieldName,   ///< no token
    BadFieldValue,  ///< control characters, or white space around it
    ForbiddenField, ///< frames or routes the message, and is the engine's to write
    BodyNotAllowed, ///< GET and HEAD have none
    // of answers: Protocol
    BadLineBreak, ///< a bare CR or LF
    BadStatusLine,
    BadVersion,
    BadStatus, ///< not 100 to 599
    BadField,
    BadFraming, ///< both framings at once, lengths that differ, a coding that is not "chunked"
    BadChunk,
    BadTrailer,
    UpgradeRefused, ///< 101
    TooManyInterim,
    BadContentCoding,
    // of answers: ConnectionLost
    EndedEarly,       ///< the connection ended before the answer was whole
    NotClosedCleanly, ///< TLS: a body that ends with the connection ended without close_notify
    // of answers: TooLarge
    HeadTooLarge,
    TrailersTooLarge,
    BodyTooLarge
};

const std::error_category& GrammarCategory() noexcept;
std::error_code make_error_code(GrammarError error) noexcept;

/// @return the kind of failure that such an error ends a call with.
FailureKind KindOf(GrammarError error) noexcept;

} // namespace httpclient::http1

template <> struct std::is_error_code_enum<httpclient::http1::GrammarError> : std::true_type {};
