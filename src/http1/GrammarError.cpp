// SPDX-License-Identifier: Apache-2.0
#include "http1/GrammarError.h"

#include <string>

namespace httpclient::http1 {
namespace {

const char* TextOf(GrammarError error) noexcept {
    switch (error) {
    case GrammarError::BadMethod:
        return "unknown method";
    case GrammarError::BadTarget:
        return "the target is not a path in URL form";
    case GrammarError::BadFieldName:
        return "the name of a header field is not a token";
    case GrammarError::BadFieldValue:
        return "the value of a header field has control characters, or blanks around it";
    case GrammarError::ForbiddenField:
        return "a header field is the engine's to write";
    case GrammarError::BodyNotAllowed:
        return "GET and HEAD have no body";
    case GrammarError::BadLineBreak:
        return "a line of the answer does not end with CR LF";
    case GrammarError::BadStatusLine:
        return "the answer's status line is malformed";
    case GrammarError::BadVersion:
        return "the answer's version is not HTTP/1.0 or HTTP/1.1";
    case GrammarError::BadStatus:
        return "the answer's status is not 100 to 599";
    case GrammarError::BadField:
        return "a header field of the answer is malformed";
    case GrammarError::BadFraming:
        return "the answer's length is contradictory or malformed";
    case GrammarError::BadChunk:
        return "a chunk of the answer is malformed";
    case GrammarError::BadTrailer:
        return "a trailer field of the answer is malformed";
    case GrammarError::UpgradeRefused:
        return "the server switched protocols unasked";
    case GrammarError::TooManyInterim:
        return "too many interim answers";
    case GrammarError::BadContentCoding:
        return "the answer's body is not in the coding that it names";
    case GrammarError::EndedEarly:
        return "the connection ended before the answer was whole";
    case GrammarError::NotClosedCleanly:
        return "the connection ended without close_notify where its end is the body's";
    case GrammarError::HeadTooLarge:
        return "the answer's head is too large";
    case GrammarError::TrailersTooLarge:
        return "the answer's trailers are too large";
    case GrammarError::BodyTooLarge:
        return "the answer's body is too large";
    }
    return "unknown error";
}

class Category final : public std::error_category {
public:
    const char* name() const noexcept override { return "http"; }
    std::string message(int value) const override { return TextOf(static_cast<GrammarError>(value)); }
};

} // namespace

const std::error_category& GrammarCategory() noexcept {
    static const Category category;
    return category;
}

std::error_code make_error_code(GrammarError error) noexcept {
    return {static_cast<int>(error), GrammarCategory()};
}

FailureKind KindOf(GrammarError error) noexcept {
    if (error <= GrammarError::BodyNotAllowed) {
        return FailureKind::InvalidRequest;
    }
    if (error <= GrammarError::BadContentCoding) {
        return FailureKind::Protocol;
    }
    return error <= GrammarError::NotClosedCleanly ? FailureKind::ConnectionLost : FailureKind::TooLarge;
}

} // namespace httpclient::http1
