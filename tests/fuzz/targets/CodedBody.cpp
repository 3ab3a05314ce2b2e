// SPDX-License-Identifier: Apache-2.0
// Bodies in gzip and deflate, sound and damaged: the engine's reader gives what zlib alone makes of the whole, or nothing.
#include <optional>
#include <stdexcept>

#include <zlib.h>

#include "../Input.h"
#include "../Require.h"
#include "../Target.h"
#include "http1/AnswerDelivery.h"
#include "http1/Coded.h"

using namespace httpclient;
using namespace httpclient::http1;

namespace {

constexpr Limits LIMITS = {2000, 100'000};
constexpr int GZIP = MAX_WBITS + 16;

enum CodingChoice : unsigned { DEFLATE = 1, COMPRESS = 2, RAW = 4, CHUNKED = 8, TWICE = 16 };

/// One stream of zlib's. @return how much of the text it took; nothing when it is none, or too long for a reader.
std::optional<std::size_t> InflateOne(std::string_view text, int window, std::string& body) {
    z_stream stream{};
    Require(inflateInit2(&stream, window) == Z_OK, "zlib can be used");
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
    stream.avail_in = static_cast<uInt>(text.size());
    int outcome = Z_OK;
    while (outcome == Z_OK && body.size() <= LIMITS.body) {
        char piece[4096];
        stream.next_out = reinterpret_cast<Bytef*>(piece);
        stream.avail_out = sizeof piece;
        outcome = inflate(&stream, Z_NO_FLUSH);
        body.append(piece, sizeof piece - stream.avail_out);
    }
    inflateEnd(&stream);
    return outcome == Z_STREAM_END ? std::optional(text.size() - stream.avail_in) : std::nullopt;
}

/// The whole text: members one behind the other where there may be several.
std::optional<std::string> Inflated(std::string_view text, int window) {
    std::string body;
    while (!text.empty()) {
        const auto taken = InflateOne(text, window, body);
        if (!taken || (window != GZIP && *taken != text.size())) {
            return std::nullopt;
        }
        text.remove_prefix(*taken);
    }
    return body.size() <= LIMITS.body ? std::optional(body) : std::nullopt;
}

/// What is sent: bytes of the input as they are, or what they become when they are compressed and then damaged.
std::string BodyOf(unsigned choices, const std::string& damage, const std::string& content) {
    if ((choices & COMPRESS) == 0) {
        return content;
    }
    const Format format = (choices & DEFLATE) == 0 ? Format::Gzip
                          : (choices & RAW) != 0   ? Format::Raw
                                                   : Format::Zlib;
    std::string body = Compressed(content, format);
    if ((choices & TWICE) != 0) {
        body += body;
    }
    for (std::size_t i = 0; i + 1 < damage.size(); i += 2) {
        char& byte = body[static_cast<unsigned char>(damage[i]) % body.size()];
        byte = static_cast<char>(byte ^ damage[i + 1]);
    }
    return body;
}

std::string AnswerWith(unsigned choices, const std::string& body) {
    std::string answer = "HTTP/1.1 200 OK\r\nContent-Encoding: ";
    answer += (choices & DEFLATE) != 0 ? "deflate\r\n" : "gzip\r\n";
    if ((choices & CHUNKED) == 0) {
        return answer + "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
    }
    answer += "Transfer-Encoding: chunked\r\n\r\n";
    constexpr std::size_t CHUNK = 9;
    for (std::size_t at = 0; at < body.size(); at += CHUNK) {
        const std::string chunk = body.substr(at, CHUNK);
        answer += std::to_string(chunk.size()) + "\r\n" + chunk + "\r\n";
    }
    return answer + "0\r\n\r\n";
}

} // namespace

void FuzzCodedBody(std::string_view input) {
    Input fields(input);
    const unsigned choices = fields.Byte();
    const std::string sizes = fields.Field();
    const std::string damage = fields.Field();
    const std::string body = BodyOf(choices, damage, fields.Rest());

    const Answer answer("", AnswerWith(choices, body));
    const Reading whole = Deliver(answer, Whole(), Taking::Kept, LIMITS);
    const auto pieces = [&sizes](std::size_t at) {
        return sizes.empty() ? 1 : static_cast<unsigned char>(sizes[at % sizes.size()]) + 1UL;
    };
    Require(Deliver(answer, pieces, Taking::Kept, LIMITS) == whole, "in pieces is the same");
    if (whole.error != GrammarError::BodyTooLarge) {
        Require(Deliver(answer, pieces, Taking::HandedOver, LIMITS) == whole, "handed over is the same");
    }

    const bool deflate = (choices & DEFLATE) != 0;
    const std::optional<std::string> sound = Inflated(body, deflate ? MAX_WBITS : GZIP);
    const std::optional<std::string> raw = deflate ? Inflated(body, -MAX_WBITS) : std::nullopt;
    if (whole.error == GrammarError{}) {
        Require(whole.body == sound || whole.body == raw, "a body is the one that was coded");
    } else {
        Require(!sound, "a sound body is taken");
    }
}
