// SPDX-License-Identifier: Apache-2.0
// RFC 9110, 8.4: gzip and deflate are undone, others are left alone.
#include "Answers.h"
#include "Coded.h"

namespace httpclient::http1 {
namespace {

using namespace std::string_literals;

std::string LengthOf(const std::string& body) {
    return std::to_string(body.size());
}

/// A row with a Content-Encoding, and a body whose length is told.
Answer Coded(std::string name, const std::string& coding, const std::string& body) {
    return {std::move(name),
            OK + "Content-Encoding: " + coding + "\r\nContent-Length: " + LengthOf(body) + "\r\n\r\n" + body};
}

Answer Undone(std::string name, const std::string& coding, const std::string& body,
              std::string decoded = "hello") {
    return Coded(std::move(name), coding, body)
        .Gives(200, {{"Content-Encoding", coding}, {"Content-Length", LengthOf(body)}}, std::move(decoded));
}

Answer NotUndone(std::string name, const std::string& coding, const std::string& body) {
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
        Undone("gzip", "gzip", gzip),
        Undone("GZip in other letters", "GZip", gzip),
        Undone("x-gzip", "x-gzip", gzip),
        Undone("gzip of nothing", "gzip", empty, ""),
        Undone("gzip with a long head", "gzip", GzipWithHead(gzip)),
        Undone("gzip of two members", "gzip", gzip + gzip, "hellohello"),
        Undone("gzip with empty members", "gzip", empty + gzip + empty + empty + gzip + empty, "hellohello"),
        Undone("gzip of much", "gzip", Compressed(zeros, Format::Gzip), zeros),
        Undone("deflate in the zlib format", "deflate", zlib),
        Undone("deflate without a format around it", "deflate", raw),
        Undone("deflate of nothing", "deflate", Compressed("", Format::Zlib), ""),
        Undone("deflate of nothing, without a format", "deflate", Compressed("", Format::Raw), ""),
        Undone("deflate of much", "deflate", Compressed(zeros, Format::Zlib), zeros),
        Undone("deflate of much, without a format", "deflate", Compressed(zeros, Format::Raw), zeros),
        Undone("gzip among empty elements", ", gzip,", gzip),
        Undone("gzip with an empty body", "gzip", "", ""),
        Undone("deflate with an empty body", "deflate", "", ""),
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
        NotUndone("a text that is no gzip", "gzip", "hello"),
        NotUndone("gzip without its last byte", "gzip", WithoutLast(gzip)),
        NotUndone("gzip without its length", "gzip", WithoutLast(gzip, 4)),
        NotUndone("gzip without its checksum", "gzip", WithoutLast(gzip, 8)),
        NotUndone("half a head of gzip", "gzip", gzip.substr(0, 5)),
        NotUndone("one byte of gzip", "gzip", gzip.substr(0, 1)),
        NotUndone("gzip with a wrong checksum", "gzip", WithByte(gzip, 8)),
        NotUndone("gzip with a wrong length", "gzip", WithByte(gzip, 4)),
        NotUndone("gzip followed by a text", "gzip", gzip + "hello"),
        NotUndone("gzip followed by zeros", "gzip", gzip + "\0\0\0\0"s),
        NotUndone("gzip followed by half a member", "gzip", gzip + gzip.substr(0, 12)),
        NotUndone("gzip followed by one byte of a member", "gzip", gzip + "\x1F"),
        NotUndone("the zlib format instead of gzip", "gzip", zlib),
        NotUndone("a text that is no deflate", "deflate", "hello"),
        NotUndone("gzip instead of deflate", "deflate", gzip),
        NotUndone("one byte of deflate", "deflate", zlib.substr(0, 1)),
        NotUndone("two bytes of deflate", "deflate", zlib.substr(0, 2)),
        NotUndone("deflate without its last byte", "deflate", WithoutLast(zlib)),
        NotUndone("deflate without a format and its last byte", "deflate", WithoutLast(raw)),
        NotUndone("deflate with a wrong checksum", "deflate", WithByte(zlib, 1)),
        NotUndone("deflate followed by a byte", "deflate", zlib + "x"),
        NotUndone("deflate without a format, followed by a byte", "deflate", raw + "x"),
        NotUndone("deflate twice", "deflate", zlib + zlib),
        // RFC 1950, 2.2: bit 5 of the second byte; there is no dictionary that both sides know.
        NotUndone("deflate with a dictionary", "deflate",
                  "\x78\xBB\x06\x2C\x02\x15\xCB\x48\xCD\xC9\xC9\x07\0"s),
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
        Undone("an unknown coding", "br", "hello"),
        Undone("identity", "identity", "hello"),
        Undone("gzip twice", "gzip, gzip", gzip, gzip),
        Undone("gzip and an unknown coding", "gzip, br", gzip, gzip),
        Undone("an empty coding", "", "hello"),
        Undone("a word that begins with gzip", "gzipped", "hello"),
        Answer("gzip and an unknown coding in two fields",
               OK + "Content-Encoding: gzip\r\nContent-Encoding: br\r\nContent-Length: 5\r\n\r\nhello")
            .Gives(200, {{"Content-Encoding", "gzip"}, {"Content-Encoding", "br"}, {"Content-Length", "5"}},
                   "hello"),
        Undone("gzip that is not to be undone", "gzip", gzip, gzip).Undecoded(),
        Undone("deflate that is not to be undone", "deflate", "hello").Undecoded(),
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
