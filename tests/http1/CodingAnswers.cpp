// SPDX-License-Identifier: Apache-2.0
// RFC 9110, 8.4: gzip and deflate are undone, others are left alone.
#include "Answers.h"
#include "Coded.h"

namespace httpclient::http1 {
namespace {

using E = GrammarError;
using namespace std::string_literals;

const std::string OK = "HTTP/1.1 200 OK\r\n";

std::string LengthOf(const std::string& body) {
    return std::to_string(body.size());
}

/// A row with a Content-Encoding, and a body whose length is told.
Answer Coded(std::string name, const std::string& coding, const std::string& body) {
    return {std::move(name),
            OK + "Content-Encoding: " + coding + "\r\nContent-Length: " + LengthOf(body) + "\r\n\r\n" + body};
}

Answer Good(std::string name, const std::string& coding, const std::string& body,
            std::string decoded = "hello") {
    return Coded(std::move(name), coding, body)
        .Gives(200, {{"Content-Encoding", coding}, {"Content-Length", LengthOf(body)}}, std::move(decoded));
}

Answer Bad(std::string name, const std::string& coding, const std::string& body) {
    return Coded(std::move(name), coding, body).Fails(E::BadContentCoding);
}

std::string WithoutLast(std::string text, std::size_t count = 1) {
    text.resize(text.size() - count);
    return text;
}

std::string WithByte(std::string text, std::size_t fromTheEnd) {
    text[text.size() - fromTheEnd] ^= 1;
    return text;
}

/// RFC 1952, 2.3: a member with an extra field, a name, a comment and a checksum of its head.
std::string GzipWithHead(const std::string& gzip) {
    const std::string head = "\x1F\x8B\x08\x1C\0\0\0\0\0\x03\x02\0xy"s + "name\0"s + "comment\0"s;
    return head + gzip.substr(10);
}

Answers Decoded() {
    const std::string gzip = Compressed("hello", Format::Gzip);
    const std::string empty = Compressed("", Format::Gzip);
    const std::string zlib = Compressed("hello", Format::Zlib);
    const std::string raw = Compressed("hello", Format::Raw);
    const std::string zeros(100'000, '0');
    return {
        Good("gzip", "gzip", gzip),
        Good("GZip in other letters", "GZip", gzip),
        Good("x-gzip", "x-gzip", gzip),
        Good("gzip of nothing", "gzip", empty, ""),
        Good("gzip with a long head", "gzip", GzipWithHead(gzip)),
        Good("gzip of two members", "gzip", gzip + gzip, "hellohello"),
        Good("gzip with empty members", "gzip", empty + gzip + empty + empty + gzip + empty, "hellohello"),
        Good("gzip of much", "gzip", Compressed(zeros, Format::Gzip), zeros),
        Good("deflate in the zlib format", "deflate", zlib),
        Good("deflate without a format around it", "deflate", raw),
        Good("deflate of nothing", "deflate", Compressed("", Format::Zlib), ""),
        Good("deflate of nothing, without a format", "deflate", Compressed("", Format::Raw), ""),
        Good("deflate of much", "deflate", Compressed(zeros, Format::Zlib), zeros),
        Good("deflate of much, without a format", "deflate", Compressed(zeros, Format::Raw), zeros),
        Good("gzip among empty elements", ", gzip,", gzip),
        Good("gzip with an empty body", "gzip", "", ""),
        Good("deflate with an empty body", "deflate", "", ""),
        Answer("gzip in chunks", OK + "Content-Encoding: gzip\r\nTransfer-Encoding: chunked\r\n\r\n" +
                                     "3\r\n" + gzip.substr(0, 3) + "\r\n" + "16\r\n" + gzip.substr(3) +
                                     "\r\n0\r\n\r\n")
            .Gives(200, {{"Content-Encoding", "gzip"}, {"Transfer-Encoding", "chunked"}}, "hello"),
        Answer("gzip with an empty body in chunks",
               OK + "Content-Encoding: gzip\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n")
            .Gives(200, {{"Content-Encoding", "gzip"}, {"Transfer-Encoding", "chunked"}}),
        Answer("gzip that ends with the connection", OK + "Content-Encoding: gzip\r\n\r\n" + gzip)
            .Gives(200, {{"Content-Encoding", "gzip"}}, "hello")
            .Closing(),
        Answer("gzip that ends with the connection, torn", OK + "Content-Encoding: gzip\r\n\r\n" + gzip)
            .Torn()
            .Fails(E::NotClosedCleanly),
        Answer("bytes beyond the length of gzip", OK + "Content-Encoding: gzip\r\nContent-Length: " +
                                                      LengthOf(gzip) + "\r\n\r\n" + gzip + "HTTP")
            .Gives(200, {{"Content-Encoding", "gzip"}, {"Content-Length", LengthOf(gzip)}}, "hello")
            .Leaving(4),
    };
}

Answers Malformed() {
    const std::string gzip = Compressed("hello", Format::Gzip);
    const std::string zlib = Compressed("hello", Format::Zlib);
    const std::string raw = Compressed("hello", Format::Raw);
    return {
        Bad("a text that is no gzip", "gzip", "hello"),
        Bad("gzip without its last byte", "gzip", WithoutLast(gzip)),
        Bad("gzip without its length", "gzip", WithoutLast(gzip, 4)),
        Bad("gzip without its checksum", "gzip", WithoutLast(gzip, 8)),
        Bad("half a head of gzip", "gzip", gzip.substr(0, 5)),
        Bad("one byte of gzip", "gzip", gzip.substr(0, 1)),
        Bad("gzip with a wrong checksum", "gzip", WithByte(gzip, 8)),
        Bad("gzip with a wrong length", "gzip", WithByte(gzip, 4)),
        Bad("gzip followed by a text", "gzip", gzip + "hello"),
        Bad("gzip followed by zeros", "gzip", gzip + "\0\0\0\0"s),
        Bad("gzip followed by half a member", "gzip", gzip + gzip.substr(0, 12)),
        Bad("gzip followed by one byte of a member", "gzip", gzip + "\x1F"),
        Bad("the zlib format instead of gzip", "gzip", zlib),
        Bad("a text that is no deflate", "deflate", "hello"),
        Bad("gzip instead of deflate", "deflate", gzip),
        Bad("one byte of deflate", "deflate", zlib.substr(0, 1)),
        Bad("two bytes of deflate", "deflate", zlib.substr(0, 2)),
        Bad("deflate without its last byte", "deflate", WithoutLast(zlib)),
        Bad("deflate without a format and its last byte", "deflate", WithoutLast(raw)),
        Bad("deflate with a wrong checksum", "deflate", WithByte(zlib, 1)),
        Bad("deflate followed by a byte", "deflate", zlib + "x"),
        Bad("deflate without a format, followed by a byte", "deflate", raw + "x"),
        Bad("deflate twice", "deflate", zlib + zlib),
        // RFC 1950, 2.2: bit 5 of the second byte; there is no dictionary that both sides know.
        Bad("deflate with a dictionary", "deflate", "\x78\xBB\x06\x2C\x02\x15\xCB\x48\xCD\xC9\xC9\x07\0"s),
        Answer("gzip that ends early with the connection",
               OK + "Content-Encoding: gzip\r\n\r\n" + WithoutLast(gzip))
            .Fails(E::BadContentCoding),
        Answer("gzip that ends with the connection before it begins", OK + "Content-Encoding: gzip\r\n\r\n")
            .Fails(E::BadContentCoding),
        Answer("gzip in chunks, without its last byte",
               OK + "Content-Encoding: gzip\r\nTransfer-Encoding: chunked\r\n\r\n" + "18\r\n" +
                   WithoutLast(gzip) + "\r\n0\r\n\r\n")
            .Fails(E::BadContentCoding),
        Answer("gzip that is whole before its length",
               OK + "Content-Encoding: gzip\r\nContent-Length: 100\r\n\r\n" + gzip)
            .Fails(E::EndedEarly),
    };
}

Answers LeftAlone() {
    const std::string gzip = Compressed("hello", Format::Gzip);
    return {
        Good("an unknown coding", "br", "hello"),
        Good("identity", "identity", "hello"),
        Good("gzip twice", "gzip, gzip", gzip, gzip),
        Good("gzip and an unknown coding", "gzip, br", gzip, gzip),
        Good("an empty coding", "", "hello"),
        Good("a word that begins with gzip", "gzipped", "hello"),
        Answer("gzip and an unknown coding in two fields",
               OK + "Content-Encoding: gzip\r\nContent-Encoding: br\r\nContent-Length: 5\r\n\r\nhello")
            .Gives(200, {{"Content-Encoding", "gzip"}, {"Content-Encoding", "br"}, {"Content-Length", "5"}},
                   "hello"),
        Good("gzip that is not to be undone", "gzip", gzip, gzip).Undecoded(),
        Good("deflate that is not to be undone", "deflate", "hello").Undecoded(),
        Answer("a part of something in gzip",
               "HTTP/1.1 206 Part\r\nContent-Encoding: gzip\r\nContent-Length: 5" + "\r\n\r\n"s +
                   gzip.substr(3, 5))
            .Gives(206, {{"Content-Encoding", "gzip"}, {"Content-Length", "5"}}, gzip.substr(3, 5)),
    };
}

} // namespace

Answers CodingAnswers() {
    Answers answers;
    for (const Answers& part : {Decoded(), Malformed(), LeftAlone()}) {
        answers.insert(answers.end(), part.begin(), part.end());
    }
    return answers;
}

} // namespace httpclient::http1
