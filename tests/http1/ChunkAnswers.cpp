// SPDX-License-Identifier: Apache-2.0
// RFC 9112, 7.1: chunks, their extensions, trailers.
#include "Answers.h"

namespace httpclient::http1 {
namespace {

using namespace std::string_literals;

const std::string HEAD = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n";
const FieldList FIELDS = {{"Transfer-Encoding", "chunked"}};
const std::string LAST = "0\r\n\r\n";

Answer Chunks(std::string name, const std::string& chunks, std::string body = "hello") {
    return Answer(std::move(name), HEAD + chunks).Gives(200, FIELDS, std::move(body));
}

Answer BadChunks(std::string name, const std::string& chunks, GrammarError error = E::BadChunk) {
    return Answer(std::move(name), HEAD + chunks).Fails(error);
}

Answers Sizes() {
    return {
        Chunks("one chunk", "5\r\nhello\r\n" + LAST),
        Chunks("several chunks", "2\r\nhe\r\n1\r\nl\r\n2\r\nlo\r\n" + LAST),
        Chunks("no chunk but the last", LAST, ""),
        Chunks("a size in hexadecimal", "1A\r\nabcdefghijklmnopqrstuvwxyz\r\n" + LAST,
               "abcdefghijklmnopqrstuvwxyz"),
        Chunks("a size in small letters", "1a\r\nabcdefghijklmnopqrstuvwxyz\r\n" + LAST,
               "abcdefghijklmnopqrstuvwxyz"),
        Chunks("zeros before the size", "0000000000000000000005\r\nhello\r\n" + LAST),
        Chunks("a last chunk of many zeros", "5\r\nhello\r\n0000000000000000000000\r\n\r\n"),
        Chunks("line breaks in the data", "7\r\n\r\n0\r\n\r\n\r\n" + LAST, "\r\n0\r\n\r\n"),
        Chunks("bytes beyond the end", "5\r\nhello\r\n" + LAST + "HTTP").Leaving(4),

        BadChunks("no size", "\r\nhello\r\n" + LAST),
        BadChunks("a blank before the size", " 5\r\nhello\r\n" + LAST),
        BadChunks("a blank after the size", "5 \r\nhello\r\n" + LAST),
        BadChunks("a tab after the size", "5\t\r\nhello\r\n" + LAST),
        BadChunks("a size with a minus", "-5\r\nhello\r\n" + LAST),
        BadChunks("a size with a plus", "+5\r\nhello\r\n" + LAST),
        BadChunks("a size with 0x", "0x5\r\nhello\r\n" + LAST),
        BadChunks("a letter beyond f", "g\r\nhello\r\n" + LAST),
        BadChunks("a letter after the size", "5h\r\nhello\r\n" + LAST),
        BadChunks("a size with a comma", "5,5\r\nhello\r\n" + LAST),
        BadChunks("2^63", "8000000000000000\r\nhello\r\n" + LAST),
        BadChunks("2^64", "10000000000000000\r\nhello\r\n" + LAST),
        BadChunks("2^64 and 5", "10000000000000005\r\nhello\r\n" + LAST),
        BadChunks("a size of a hundred digits", std::string(100, 'F') + "\r\nhello\r\n" + LAST),
        BadChunks("NUL in the size", "5\0\r\nhello\r\n"s + LAST),
        BadChunks("a second size that is bad", "2\r\nhe\r\nx\r\nllo\r\n" + LAST),
        BadChunks("data longer than its size", "3\r\nhello\r\n" + LAST),
        // The CR is data then.
        BadChunks("data shorter than its size", "6\r\nhello\r\n" + LAST, E::BadLineBreak),
        BadChunks("no line break after the data", "5\r\nhello0\r\n\r\n"),
        BadChunks("CR alone after the data", "5\r\nhello\r0\r\n\r\n", E::BadLineBreak),
        BadChunks("LF alone after the data", "5\r\nhello\n" + LAST, E::BadLineBreak),
        BadChunks("LF alone after the size", "5\nhello\r\n" + LAST, E::BadLineBreak),
        BadChunks("CR alone after the size", "5\rhello\r\n" + LAST, E::BadLineBreak),
        BadChunks("LF alone after the last size", "5\r\nhello\r\n0\n\r\n", E::BadLineBreak),
        BadChunks("LF alone for a size", "\nhello", E::BadLineBreak),
        BadChunks("LF alone at the end", "5\r\nhello\r\n0\r\n\n", E::BadLineBreak),
        BadChunks("CR twice at the end", "5\r\nhello\r\n0\r\n\r\r\n", E::BadLineBreak),
    };
}

Answers Extensions() {
    return {
        Chunks("an extension", "5;a=b\r\nhello\r\n" + LAST),
        Chunks("an extension without a value", "5;a\r\nhello\r\n" + LAST),
        Chunks("several extensions", "5;a=b;c;d=e\r\nhello\r\n" + LAST),
        Chunks("blanks around the marks", "5 ; a = b\t;\tc =d\r\nhello\r\n" + LAST),
        Chunks("blanks before a mark", "5;a ;b\r\nhello\r\n" + LAST),
        Chunks("a quoted value", "5;a=\"b c\"\r\nhello\r\n" + LAST),
        Chunks("an empty quoted value", "5;a=\"\"\r\nhello\r\n" + LAST),
        Chunks("marks in a quoted value", "5;a=\"b;c=d,\t[]\"\r\nhello\r\n" + LAST),
        Chunks("escapes in a quoted value", "5;a=\"\\\"\\\\\\b\";c\r\nhello\r\n" + LAST),
        Chunks("other letters in a quoted value", "5;a=\"\xC3\xA4\"\r\nhello\r\n" + LAST),
        Chunks("a quoted value, then blanks and another", "5;a=\"b\" ; c\r\nhello\r\n" + LAST),
        Chunks("an extension of the last chunk", "5\r\nhello\r\n0;a=b\r\n\r\n"),

        BadChunks("an extension without a name", "5;\r\nhello\r\n" + LAST),
        BadChunks("an extension of blanks", "5; \r\nhello\r\n" + LAST),
        BadChunks("two marks", "5;;a\r\nhello\r\n" + LAST),
        BadChunks("a value without a name", "5;=b\r\nhello\r\n" + LAST),
        BadChunks("a name without its value", "5;a=\r\nhello\r\n" + LAST),
        BadChunks("a name without its value, then another", "5;a=;b\r\nhello\r\n" + LAST),
        BadChunks("two names", "5;a b\r\nhello\r\n" + LAST),
        BadChunks("two values", "5;a=b c\r\nhello\r\n" + LAST),
        BadChunks("two equals", "5;a==b\r\nhello\r\n" + LAST),
        BadChunks("a blank after an extension", "5;a \r\nhello\r\n" + LAST),
        BadChunks("a blank after a value", "5;a=b \r\nhello\r\n" + LAST),
        BadChunks("a blank after a quoted value", "5;a=\"b\" \r\nhello\r\n" + LAST),
        BadChunks("a letter after a quoted value", "5;a=\"b\"c\r\nhello\r\n" + LAST),
        BadChunks("a quote in a value", "5;a=b\"c\"\r\nhello\r\n" + LAST),
        BadChunks("a quoted name", "5;\"a\"\r\nhello\r\n" + LAST),
        BadChunks("a quote without its end", "5;a=\"b\r\nhello\r\n" + LAST),
        BadChunks("an escape at the end of the line", "5;a=\"b\\\r\nhello\r\n" + LAST),
        BadChunks("other letters in a name", "5;\xC3\xA4\r\nhello\r\n" + LAST),
        BadChunks("NUL in a name", "5;a\0b\r\nhello\r\n"s + LAST),
        BadChunks("NUL in a quoted value", "5;a=\"\0\"\r\nhello\r\n"s + LAST),
        BadChunks("NUL after an escape", "5;a=\"\\\0\"\r\nhello\r\n"s + LAST),
        BadChunks("DEL in a quoted value", "5;a=\"\x7F\"\r\nhello\r\n" + LAST),
        // Beast takes a bare LF in each of these.
        BadChunks("LF alone after an extension", "5;a\nhello\r\n" + LAST, E::BadLineBreak),
        BadChunks("LF alone in a quoted value", "5;a=\"b\nc\"\r\nhello\r\n" + LAST, E::BadLineBreak),
        BadChunks("LF alone after an escape", "5;a=\"b\\\nc\"\r\nhello\r\n" + LAST, E::BadLineBreak),
        BadChunks("LF alone after a mark", "5;\na\r\nhello\r\n" + LAST, E::BadLineBreak),
        BadChunks("CR alone in a quoted value", "5;a=\"b\rc\"\r\nhello\r\n" + LAST),
        BadChunks("CR alone after an extension", "5;a\rhello\r\n" + LAST, E::BadLineBreak),
    };
}

/// RFC 9112, 7.1.2
Answers Trailers() {
    const std::string data = "5\r\nhello\r\n0\r\n";
    return {
        Chunks("a trailer", data + "A: b\r\n\r\n"),
        Chunks("several trailers", data + "A: b\r\nC:\r\nD:\t\xC3\xA4 e\r\n\r\n"),
        Chunks("a folded trailer", data + "A: b\r\n c\r\n\td\r\n\r\n"),
        Chunks("a trailer that would frame", data + "Content-Length: 7\r\nTransfer-Encoding: gzip\r\n\r\n"),
        Chunks("a trailer that would close", data + "Connection: close\r\n\r\n"),
        Chunks("bytes beyond a trailer", data + "A: b\r\n\r\nHTTP").Leaving(4),

        BadChunks("a trailer without a colon", data + "A\r\n\r\n", E::BadTrailer),
        BadChunks("a trailer without a name", data + ": b\r\n\r\n", E::BadTrailer),
        BadChunks("a blank before the colon of a trailer", data + "A : b\r\n\r\n", E::BadTrailer),
        BadChunks("a fold before the first trailer", data + " A: b\r\n\r\n", E::BadTrailer),
        BadChunks("other letters in the name of a trailer", data + "\xC3\xA4: b\r\n\r\n", E::BadTrailer),
        BadChunks("NUL in a trailer", data + "A: \0\r\n\r\n"s, E::BadTrailer),
        BadChunks("DEL in a trailer", data + "A: \x7F\r\n\r\n", E::BadTrailer),
        BadChunks("NUL in a folded trailer", data + "A: b\r\n \0\r\n\r\n"s, E::BadTrailer),
        BadChunks("LF alone in a trailer", data + "A: b\nC: d\r\n\r\n", E::BadLineBreak),
        BadChunks("LF alone in the name of a trailer", data + "A\n\r\n", E::BadLineBreak),
        BadChunks("LF alone after the trailers", data + "A: b\r\n\n", E::BadLineBreak),
        BadChunks("CR alone in a trailer", data + "A: b\rC: d\r\n\r\n", E::BadLineBreak),
        BadChunks("CR alone after the trailers", data + "A: b\r\n\rC", E::BadLineBreak),
        BadChunks("another answer instead of the last line break", data + "HTTP/1.1 200 OK\r\n\r\n",
                  E::BadTrailer),
    };
}

Answers Ends() {
    return {
        BadChunks("nothing after the head", "", E::EndedEarly),
        BadChunks("the end amid a size", "5", E::EndedEarly),
        BadChunks("the end after a size", "5\r\n", E::EndedEarly),
        BadChunks("the end amid an extension", "5;a", E::EndedEarly),
        BadChunks("the end amid data", "5\r\nhel", E::EndedEarly),
        BadChunks("the end after data", "5\r\nhello", E::EndedEarly),
        BadChunks("the end amid the line break after data", "5\r\nhello\r", E::EndedEarly),
        BadChunks("the end before the last chunk", "5\r\nhello\r\n", E::EndedEarly),
        BadChunks("the end after the last size", "5\r\nhello\r\n0\r\n", E::EndedEarly),
        BadChunks("the end amid a trailer", "5\r\nhello\r\n0\r\nA: b", E::EndedEarly),
        BadChunks("the end before the last line break", "5\r\nhello\r\n0\r\nA: b\r\n", E::EndedEarly),
        BadChunks("the end before the last byte", "5\r\nhello\r\n0\r\n\r", E::EndedEarly),
        BadChunks("the end before the last byte, torn", "5\r\nhello\r\n0\r\n\r", E::EndedEarly).Torn(),
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
