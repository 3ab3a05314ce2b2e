// SPDX-License-Identifier: Apache-2.0
// The bytes that a server answers with, however they arrive: the engine's reader.
#include "../Input.h"
#include "../Require.h"
#include "../Target.h"
#include "http1/AnswerDelivery.h"

using namespace httpclient;
using namespace httpclient::http1;

namespace {

enum AnswerChoice : unsigned { ToHead = 1, Undecoded = 2, Torn = 4, Unlimited = 8, Methods = 16 };

/// Each method has its answers read: HEAD by a choice of its own, the others by number.
Method MethodOf(unsigned choices) {
    constexpr Method OTHERS[] = {Method::Get,    Method::Post,    Method::Put, Method::Patch,
                                 Method::Delete, Method::Options, Method::Get, Method::Get};
    return (choices & ToHead) != 0 ? Method::Head : OTHERS[choices / Methods % 8];
}

/// Narrow ones, or those that a client has by default: no input reaches them but by what it decodes to.
Limits LimitsOf(unsigned choices) {
    return (choices & Unlimited) != 0 ? Limits() : Limits{2000, 5000};
}

/// The pieces that a socket would give: the sizes repeat.
Pieces InPiecesOf(std::string sizes) {
    return [sizes = std::move(sizes)](std::size_t at) {
        return sizes.empty() ? std::string::npos : static_cast<unsigned char>(sizes[at % sizes.size()]) + 1UL;
    };
}

void RequireSound(const Reading& reading, const Answer& answer, const Limits& limits) {
    Require(reading.status >= 200 && reading.status <= 599, "a final status");
    Require(reading.body.size() <= limits.body, "no more body than allowed");
    Require(reading.body.empty() ||
                (answer.method != Method::Head && reading.status != 204 && reading.status != 304),
            "no body where there is none");
    Require(reading.surplus < answer.bytes.size(), "an answer has bytes");
    for (const auto& [name, value] : reading.fields) {
        Require(!name.empty() && name.find_first_of(" \t:\r\n") == std::string::npos, "a name is a token");
        Require(value.find_first_of("\r\n") == std::string::npos && value.find('\0') == std::string::npos,
                "a value is one line");
    }
}

} // namespace

void FuzzAnswer(std::string_view input) {
    Input fields(input);
    const unsigned choices = fields.Byte();
    const std::string sizes = fields.Field();
    Answer answer("", fields.Rest());
    answer.method = MethodOf(choices);
    const Limits limits = LimitsOf(choices);
    answer.decode = (choices & Undecoded) == 0;
    answer.clean = (choices & Torn) == 0;

    const Reading whole = Deliver(answer, Whole(), Taking::Kept, limits);
    if (whole.error == GrammarError{}) {
        RequireSound(whole, answer, limits);
    }
    Require(Deliver(answer, ByteByByte(), Taking::Kept, limits) == whole, "byte by byte is the same");
    Require(Deliver(answer, InPiecesOf(sizes), Taking::Kept, limits) == whole, "in pieces is the same");
    Require(Deliver(answer, InPiecesOf(sizes), Taking::Direct, limits) == whole,
            "received directly is the same");
    if (whole.error != GrammarError::BodyTooLarge) {
        const Reading pieces = Deliver(answer, Whole(), Taking::HandedOver, limits);
        Require(pieces == whole, "handed over is the same");
        Require(Deliver(answer, InPiecesOf(sizes), Taking::HandedOver, limits) == pieces, "in pieces, too");
    }
}
