// SPDX-License-Identifier: Apache-2.0
// RFC 9112, 7.1: chunks, their extensions, trailers.
#include "Answers.h"

namespace httpclient::http1 {
namespace {

using E = GrammarError;
using namespace std::string_literals;

const std::string HEAD = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n";
const FieldList FIELDS = {{"Transfer-Encoding", "chunked"}};
const std::string LAST = "0\r\n\r\n";

Answer Good(std::string name, const std::string& chunks, std::string body = "hello") {
    return Answer(std::move(name), HEAD + chunks).Gives(200, FIELDS, std::move(body));
}

Answer Bad(std::string name, const std::string& chunks, GrammarError error = E::BadChunk) {
    return Answer(std::move(name), HEAD + chunks).Fails(error);
}

Answers Sizes() {
    return {
        Good("one chunk", "5\r\nhello\r\n" + LAST),
        Good("several chunks", "2\r\nhe\r\n1\r\nl\r\n2\r\nlo\r\n" + LAST),
        Good("no chunk but the last", LAST, ""),
        Good("a size in hexadecimal", "1A\r\nabcdefghijklmnopqrstuvwxyz\r\n" + LAST,
             "abcdefghijklmnopqrstuvwxyz"),
        Good("a size in small letters", "1a\r\nabcdefghijklmnopqrstuvwxyz\r\n" + LAST,
             "abcdefghijklmnopqrstuvwxyz"),
        Good("zeros before the size", "0000000000000000000005\r\nhello\r\n" + LAST),
        Good("a last chunk of many zeros", "5\r\nhello\r\n0000000000000000000000\r\n\r\n"),
        Good("line breaks in the data", "7\r\n\r\n0\r\n\r\n\r\n" + LAST, "\r\n0\r\n\r\n"),
        Good("bytes beyond the end", "5\r\nhello\r\n" + LAST + "HTTP").Leaving(4),

        Bad("no size", "\r\nhello\r\n" + LAST),
        Bad("a blank before the size", " 5\r\nhello\r\n" + LAST),
        Bad("a blank after the size", "5 \r\nhello\r\n" + LAST),
        Bad("a tab after the size", "5\t\r\nhello\r\n" + LAST),
        Bad("a size with a minus", "-5\r\nhello\r\n" + LAST),
        Bad("a size with a plus", "+5\r\nhello\r\n" + LAST),
        Bad("a size with 0x", "0x5\r\nhello\r\n" + LAST),
        Bad("a letter beyond f", "g\r\nhello\r\n" + LAST),
        Bad("a letter after the size", "5h\r\nhello\r\n" + LAST),
        Bad("a size with a comma", "5,5\r\nhello\r\n" + LAST),
        Bad("2^63", "8000000000000000\r\nhello\r\n" + LAST),
        Bad("2^64", "10000000000000000\r\nhello\r\n" + LAST),
        Bad("2^64 and 5", "10000000000000005\r\nhello\r\n" + LAST),
        Bad("a size of a hundred digits", std::string(100, 'F') + "\r\nhello\r\n" + LAST),
        Bad("NUL in the size", "5\0\r\nhello\r\n"s + LAST),
        Bad("a second size that is bad", "2\r\nhe\r\nx\r\nllo\r\n" + LAST),
        Bad("data longer than its size", "3\r\nhello\r\n" + LAST),
        // The CR is data then.
        Bad("data shorter than its size", "6\r\nhello\r\n" + LAST, E::BadLineBreak),
        Bad("no line break after the data", "5\r\nhello0\r\n\r\n"),
        Bad("CR alone after the data", "5\r\nhello\r0\r\n\r\n", E::BadLineBreak),
        Bad("LF alone after the data", "5\r\nhello\n" + LAST, E::BadLineBreak),
        Bad("LF alone after the size", "5\nhello\r\n" + LAST, E::BadLineBreak),
        Bad("CR alone after the size", "5\rhello\r\n" + LAST, E::BadLineBreak),
        Bad("LF alone after the last size", "5\r\nhello\r\n0\n\r\n", E::BadLineBreak),
        Bad("LF alone for a size", "\nhello", E::BadLineBreak),
        Bad("LF alone at the end", "5\r\nhello\r\n0\r\n\n", E::BadLineBreak),
        Bad("CR twice at the end", "5\r\nhello\r\n0\r\n\r\r\n", E::BadLineBreak),
    };
}

Answers Extensions() {
    return {
        Good("an extension", "5;a=b\r\nhello\r\n" + LAST),
        Good("an extension without a value", "5;a\r\nhello\r\n" + LAST),
        Good("several extensions", "5;a=b;c;d=e\r\nhello\r\n" + LAST),
        Good("blanks around the marks", "5 ; a = b\t;\tc =d\r\nhello\r\n" + LAST),
        Good("blanks before a mark", "5;a ;b\r\nhello\r\n" + LAST),
        Good("a quoted value", "5;a=\"b c\"\r\nhello\r\n" + LAST),
        Good("an empty quoted value", "5;a=\"\"\r\nhello\r\n" + LAST),
        Good("marks in a quoted value", "5;a=\"b;c=d,\t[]\"\r\nhello\r\n" + LAST),
        Good("escapes in a quoted value", "5;a=\"\\\"\\\\\\b\";c\r\nhello\r\n" + LAST),
        Good("other letters in a quoted value", "5;a=\"\xC3\xA4\"\r\nhello\r\n" + LAST),
        Good("a quoted value, then blanks and another", "5;a=\"b\" ; c\r\nhello\r\n" + LAST),
        Good("an extension of the last chunk", "5\r\nhello\r\n0;a=b\r\n\r\n"),

        Bad("an extension without a name", "5;\r\nhello\r\n" + LAST),
        Bad("an extension of blanks", "5; \r\nhello\r\n" + LAST),
        Bad("two marks", "5;;a\r\nhello\r\n" + LAST),
        Bad("a value without a name", "5;=b\r\nhello\r\n" + LAST),
        Bad("a name without its value", "5;a=\r\nhello\r\n" + LAST),
        Bad("a name without its value, then another", "5;a=;b\r\nhello\r\n" + LAST),
        Bad("two names", "5;a b\r\nhello\r\n" + LAST),
        Bad("two values", "5;a=b c\r\nhello\r\n" + LAST),
        Bad("two equals", "5;a==b\r\nhello\r\n" + LAST),
        Bad("a blank after an extension", "5;a \r\nhello\r\n" + LAST),
        Bad("a blank after a value", "5;a=b \r\nhello\r\n" + LAST),
        Bad("a blank after a quoted value", "5;a=\"b\" \r\nhello\r\n" + LAST),
        Bad("a letter after a quoted value", "5;a=\"b\"c\r\nhello\r\n" + LAST),
        Bad("a quote in a value", "5;a=b\"c\"\r\nhello\r\n" + LAST),
        Bad("a quoted name", "5;\"a\"\r\nhello\r\n" + LAST),
        Bad("a quote without its end", "5;a=\"b\r\nhello\r\n" + LAST),
        Bad("an escape at the end of the line", "5;a=\"b\\\r\nhello\r\n" + LAST),
        Bad("other letters in a name", "5;\xC3\xA4\r\nhello\r\n" + LAST),
        Bad("NUL in a name", "5;a\0b\r\nhello\r\n"s + LAST),
        Bad("NUL in a quoted value", "5;a=\"\0\"\r\nhello\r\n"s + LAST),
        Bad("NUL after an escape", "5;a=\"\\\0\"\r\nhello\r\n"s + LAST),
        Bad("DEL in a quoted value", "5;a=\"\x7F\"\r\nhello\r\n" + LAST),
        // Beast takes a bare LF in each of these.
        Bad("LF alone after an extension", "5;a\nhello\r\n" + LAST, E::BadLineBreak),
        Bad("LF alone in a quoted value", "5;a=\"b\nc\"\r\nhello\r\n" + LAST, E::BadLineBreak),
        Bad("LF alone after an escape", "5;a=\"b\\\nc\"\r\nhello\r\n" + LAST, E::BadLineBreak),
        Bad("LF alone after a mark", "5;\na\r\nhello\r\n" + LAST, E::BadLineBreak),
        Bad("CR alone in a quoted value", "5;a=\"b\rc\"\r\nhello\r\n" + LAST),
        Bad("CR alone after an extension", "5;a\rhello\r\n" + LAST, E::BadLineBreak),
    };
}

/// RFC 9112, 7.1.2
Answers Trailers() {
    const std::string data = "5\r\nhello\r\n0\r\n";
    return {
        Good("a trailer", data + "A: b\r\n\r\n"),
        Good("several trailers", data + "A: b\r\nC:\r\nD:\t\xC3\xA4 e\r\n\r\n"),
        Good("a folded trailer", data + "A: b\r\n c\r\n\td\r\n\r\n"),
        Good("a trailer that would frame", data + "Content-Length: 7\r\nTransfer-Encoding: gzip\r\n\r\n"),
        Good("a trailer that would close", data + "Connection: close\r\n\r\n"),
        Good("bytes beyond a trailer", data + "A: b\r\n\r\nHTTP").Leaving(4),

        Bad("a trailer without a colon", data + "A\r\n\r\n", E::BadTrailer),
        Bad("a trailer without a name", data + ": b\r\n\r\n", E::BadTrailer),
        Bad("a blank before the colon of a trailer", data + "A : b\r\n\r\n", E::BadTrailer),
        Bad("a fold before the first trailer", data + " A: b\r\n\r\n", E::BadTrailer),
        Bad("other letters in the name of a trailer", data + "\xC3\xA4: b\r\n\r\n", E::BadTrailer),
        Bad("NUL in a trailer", data + "A: \0\r\n\r\n"s, E::BadTrailer),
        Bad("DEL in a trailer", data + "A: \x7F\r\n\r\n", E::BadTrailer),
        Bad("NUL in a folded trailer", data + "A: b\r\n \0\r\n\r\n"s, E::BadTrailer),
        Bad("LF alone in a trailer", data + "A: b\nC: d\r\n\r\n", E::BadLineBreak),
        Bad("LF alone in the name of a trailer", data + "A\n\r\n", E::BadLineBreak),
        Bad("LF alone after the trailers", data + "A: b\r\n\n", E::BadLineBreak),
        Bad("CR alone in a trailer", data + "A: b\rC: d\r\n\r\n", E::BadLineBreak),
        Bad("CR alone after the trailers", data + "A: b\r\n\rC", E::BadLineBreak),
        Bad("another answer instead of the last line break", data + "HTTP/1.1 200 OK\r\n\r\n", E::BadTrailer),
    };
}

Answers Ends() {
    return {
        Bad("nothing after the head", "", E::EndedEarly),
        Bad("the end amid a size", "5", E::EndedEarly),
        Bad("the end after a size", "5\r\n", E::EndedEarly),
        Bad("the end amid an extension", "5;a", E::EndedEarly),
        Bad("the end amid data", "5\r\nhel", E::EndedEarly),
        Bad("the end after data", "5\r\nhello", E::EndedEarly),
        Bad("the end amid the line break after data", "5\r\nhello\r", E::EndedEarly),
        Bad("the end before the last chunk", "5\r\nhello\r\n", E::EndedEarly),
        Bad("the end after the last size", "5\r\nhello\r\n0\r\n", E::EndedEarly),
        Bad("the end amid a trailer", "5\r\nhello\r\n0\r\nA: b", E::EndedEarly),
        Bad("the end before the last line break", "5\r\nhello\r\n0\r\nA: b\r\n", E::EndedEarly),
        Bad("the end before the last byte", "5\r\nhello\r\n0\r\n\r", E::EndedEarly),
        Bad("the end before the last byte, torn", "5\r\nhello\r\n0\r\n\r", E::EndedEarly).Torn(),
    };
}

} // namespace

Answers ChunkAnswers() {
    Answers answers;
    for (const Answers& part : {Sizes(), Extensions(), Trailers(), Ends()}) {
        answers.insert(answers.end(), part.begin(), part.end());
    }
    return answers;
}

} // namespace httpclient::http1
