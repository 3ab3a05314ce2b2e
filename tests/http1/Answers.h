// SPDX-License-Identifier: Apache-2.0
/// @file
/// Tables of answers: bytes in; status, fields and body, or the error, out.
#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "http1/GrammarError.h"
#include "http1/ResponseReader.h"

namespace httpclient::http1 {

using E = GrammarError; ///< the tables name many

// What most answers are made of.
inline const std::string OK = "HTTP/1.1 200 OK\r\n";
inline const std::string NO_CONTENT = "HTTP/1.1 204 No\r\n";
inline const std::string END = "\r\n\r\n";

using FieldList = std::vector<std::pair<std::string, std::string>>;

/// What a reader made of an answer.
struct Reading {
    GrammarError error{};
    int status = 0;
    FieldList fields;
    std::string body;
    bool keepAlive = false;
    std::size_t surplus = 0; ///< bytes that are not the answer's

    bool operator==(const Reading& other) const;
};

/// A row: what arrives before the connection ends, and what is to be made of it.
struct Answer {
    Answer(std::string what, std::string received) : name(std::move(what)), bytes(std::move(received)) {}

    /// The answer is whole, and its connection may be kept.
    Answer&& Gives(int status, FieldList fields, std::string body = {}) &&;
    Answer&& Fails(GrammarError error) &&;
    /// The connection may not be kept.
    Answer&& Closing() &&;
    /// So many bytes are not the answer's.
    Answer&& Leaving(std::size_t surplus) &&;
    /// The request was this one instead of GET.
    Answer&& To(Method method) &&;
    /// The connection ends without close_notify.
    Answer&& Torn() &&;
    /// Codings are not to be undone.
    Answer&& Undecoded() &&;

    std::string name;
    std::string bytes;
    Reading expected;
    Method method = Method::Get;
    bool clean = true;
    bool decode = true;
};

using Answers = std::vector<Answer>;

Answers StatusLineAnswers(); ///< RFC 9112, 4
Answers FieldAnswers();      ///< RFC 9112, 5, and RFC 9110, 5
Answers FramingAnswers();    ///< RFC 9112, 6
Answers ConnectionAnswers(); ///< RFC 9112, 9, and RFC 9110, 15.2
Answers ChunkAnswers();      ///< RFC 9112, 7.1
Answers CodingAnswers();     ///< RFC 9110, 8.4

} // namespace httpclient::http1
