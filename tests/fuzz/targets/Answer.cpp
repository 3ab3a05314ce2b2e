// SPDX-License-Identifier: Apache-2.0
// The bytes that a server answers with, however they arrive: the engine's reader.
#include "../Input.h"
#include "../Require.h"
#include "../Target.h"
#include "http1/AnswerDelivery.h"

using namespace httpclient;
using namespace httpclient::http1;

namespace {

constexpr Limits LIMITS = {2000, 5000};

enum Choice : unsigned { TO_HEAD = 1, UNDECODED = 2, TORN = 4 };

/// The pieces that a socket would give: the sizes repeat.
Pieces InPiecesOf(std::string sizes) {
    return [sizes = std::move(sizes)](std::size_t at) {
        return sizes.empty() ? std::string::npos : static_cast<unsigned char>(sizes[at % sizes.size()]) + 1UL;
    };
}

void RequireSound(const Reading& reading, const Answer& answer) {
    Require(reading.status >= 200 && reading.status <= 599, "a final status");
    Require(reading.body.size() <= LIMITS.body, "no more body than allowed");
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
    answer.method = (choices & TO_HEAD) != 0 ? Method::Head : Method::Get;
    answer.decode = (choices & UNDECODED) == 0;
    answer.clean = (choices & TORN) == 0;

    const Reading whole = Deliver(answer, Whole(), Taking::Kept, LIMITS);
    if (whole.error == GrammarError{}) {
        RequireSound(whole, answer);
    }
    Require(Deliver(answer, ByteByByte(), Taking::Kept, LIMITS) == whole, "byte by byte is the same");
    Require(Deliver(answer, InPiecesOf(sizes), Taking::Kept, LIMITS) == whole, "in pieces is the same");
    Require(Deliver(answer, InPiecesOf(sizes), Taking::Direct, LIMITS) == whole,
            "received directly is the same");
    if (whole.error != GrammarError::BodyTooLarge) {
        const Reading pieces = Deliver(answer, Whole(), Taking::HandedOver, LIMITS);
        Require(pieces == whole, "handed over is the same");
        Require(Deliver(answer, InPiecesOf(sizes), Taking::HandedOver, LIMITS) == pieces, "in pieces, too");
    }
}
