// SPDX-License-Identifier: Apache-2.0
// RFC 9112, 6: where the body ends. RFC 9110, 8.6: Content-Length.
#include "Answers.h"

namespace httpclient::http1 {
namespace {

using namespace std::string_literals;

const std::string HELLO = "5\r\nhello\r\n0\r\n\r\n"; // in chunks

/// A row with one field and what follows the head.
Answer With(std::string name, const std::string& field, const std::string& value, const std::string& after) {
    return {std::move(name), OK + field + ": " + value + END + after};
}

Answer Length(std::string name, const std::string& value, const std::string& after = "hello") {
    return With(std::move(name), "Content-Length", value, after);
}

Answer Coding(std::string name, const std::string& value, const std::string& after = HELLO) {
    return With(std::move(name), "Transfer-Encoding", value, after);
}

/// Two framing fields.
Answer Two(std::string name, const std::string& one, const std::string& other,
           const std::string& after = HELLO) {
    return {std::move(name), OK + one + "\r\n" + other + END + after};
}

Answers Lengths() {
    return {
        Length("a length", "5").Gives(200, {{"Content-Length", "5"}}, "hello"),
        Length("length 0", "0", "").Gives(200, {{"Content-Length", "0"}}),
        Length("bytes beyond the length", "5", "helloHTTP/1.1 200")
            .Gives(200, {{"Content-Length", "5"}}, "hello")
            .Leaving(12),
        Length("bytes beyond length 0", "0", "x").Gives(200, {{"Content-Length", "0"}}).Leaving(1),
        Length("any bytes", "6", "\0\r\n\r\n\xFF"s).Gives(200, {{"Content-Length", "6"}}, "\0\r\n\r\n\xFF"s),
        Length("zeros before the length", "0005").Gives(200, {{"Content-Length", "0005"}}, "hello"),
        Length("many zeros before the length", std::string(40, '0') + "5")
            .Gives(200, {{"Content-Length", std::string(40, '0') + "5"}}, "hello"),
        // RFC 9110, 8.6: the same number repeated may be taken as one.
        Length("the same length twice in a list", "5, 5").Gives(200, {{"Content-Length", "5, 5"}}, "hello"),
        Length("the same length in a list without blanks", "5,5,5")
            .Gives(200, {{"Content-Length", "5,5,5"}}, "hello"),
        Two("the same length twice", "Content-Length: 5", "content-length: 5", "hello")
            .Gives(200, {{"Content-Length", "5"}, {"content-length", "5"}}, "hello"),

        Length("a body that is too short", "6").Fails(E::EndedEarly),
        Length("a body that is too short, torn", "6").Torn().Fails(E::EndedEarly),
        Length("no body for a length", "5", "").Fails(E::EndedEarly),
        Two("two lengths", "Content-Length: 5", "Content-Length: 6", "hello").Fails(E::BadFraming),
        Two("two lengths, the first 0", "Content-Length: 0", "Content-Length: 5", "hello")
            .Fails(E::BadFraming),
        Two("a length and a malformed one", "Content-Length: 5", "Content-Length: x", "hello")
            .Fails(E::BadFraming),
        Length("two lengths in a list", "5, 6").Fails(E::BadFraming),
        Length("a list that ends with a comma", "5,").Fails(E::BadFraming),
        Length("a list that begins with a comma", ",5").Fails(E::BadFraming),
        Length("an empty element in the list", "5,,5").Fails(E::BadFraming),
        Length("a comma", ",").Fails(E::BadFraming),
        Length("an empty length", "").Fails(E::BadFraming),
        Length("a length with a plus", "+5").Fails(E::BadFraming),
        Length("a length with a minus", "-5").Fails(E::BadFraming),
        Length("a length in hexadecimal", "0x5").Fails(E::BadFraming),
        Length("a length with a letter", "5x").Fails(E::BadFraming),
        Length("a length with a fraction", "5.0").Fails(E::BadFraming),
        Length("a length with an exponent", "1e1").Fails(E::BadFraming),
        Length("a length of two numbers", "5 5").Fails(E::BadFraming),
        Length("a length with a semicolon", "5;5").Fails(E::BadFraming),
        Length("a length in quotes", "\"5\"").Fails(E::BadFraming),
        Length("a length in other digits", "\xD9\xA5").Fails(E::BadFraming),
        Length("2^63", "9223372036854775808").Fails(E::BadFraming),
        Length("2^64", "18446744073709551616").Fails(E::BadFraming),
        Length("2^64 and 5", "18446744073709551621").Fails(E::BadFraming),
        Length("a length of a hundred digits", std::string(100, '9')).Fails(E::BadFraming),
    };
}

Answers TransferCodings() {
    return {
        Coding("chunked", "chunked").Gives(200, {{"Transfer-Encoding", "chunked"}}, "hello"),
        Coding("Chunked in other letters", "CHunKED").Gives(200, {{"Transfer-Encoding", "CHunKED"}}, "hello"),
        Coding("blanks around chunked", " \tchunked\t ")
            .Gives(200, {{"Transfer-Encoding", "chunked"}}, "hello"),
        Coding("gzip before chunked", "gzip, chunked").Fails(E::BadFraming),
        Coding("gzip after chunked", "chunked, gzip").Fails(E::BadFraming),
        Coding("gzip alone", "gzip").Fails(E::BadFraming),
        Coding("identity", "identity").Fails(E::BadFraming),
        Coding("chunked twice in a list", "chunked, chunked").Fails(E::BadFraming),
        Coding("a comma after chunked", "chunked,").Fails(E::BadFraming),
        Coding("a comma before chunked", ", chunked").Fails(E::BadFraming),
        Coding("a parameter of chunked", "chunked;a=b").Fails(E::BadFraming),
        Coding("chunked in quotes", "\"chunked\"").Fails(E::BadFraming),
        Coding("a word that ends with chunked", "xchunked").Fails(E::BadFraming),
        Coding("a word that begins with chunked", "chunkedx").Fails(E::BadFraming),
        Coding("an empty coding", "").Fails(E::BadFraming),
        Two("chunked twice", "Transfer-Encoding: chunked", "Transfer-Encoding: chunked").Fails(E::BadFraming),
        Two("chunked, then gzip", "Transfer-Encoding: chunked", "Transfer-Encoding: gzip")
            .Fails(E::BadFraming),
        Two("gzip, then chunked", "Transfer-Encoding: gzip", "Transfer-Encoding: chunked")
            .Fails(E::BadFraming),
        Two("a length, then chunked", "Content-Length: 5", "Transfer-Encoding: chunked").Fails(E::BadFraming),
        Two("chunked, then a length", "Transfer-Encoding: chunked", "Content-Length: 5").Fails(E::BadFraming),
        Two("chunked, then length 0", "Transfer-Encoding: chunked", "Content-Length: 0").Fails(E::BadFraming),
        // Beast sees no contradiction in these two.
        Two("gzip, then a length", "Transfer-Encoding: gzip", "Content-Length: 5", "hello")
            .Fails(E::BadFraming),
        Two("a length, then an empty coding", "Content-Length: 5", "Transfer-Encoding:", "hello")
            .Fails(E::BadFraming),
        // RFC 9112, 6.1: the older version has no transfer codings.
        Answer("chunked in version 1.0", "HTTP/1.0 200 OK\r\nTransfer-Encoding: chunked" + END + HELLO)
            .Fails(E::BadFraming),
        Answer("chunked in version 1.0, kept",
               "HTTP/1.0 200 OK\r\nConnection: keep-alive\r\nTransfer-Encoding: chunked" + END + HELLO)
            .Fails(E::BadFraming),
    };
}

Answers UntilTheEnd() {
    return {
        Answer("a body that ends with the connection", OK + "A: b" + END + "hello")
            .Gives(200, {{"A", "b"}}, "hello")
            .Closing(),
        Answer("an empty body that ends with the connection", OK + "\r\n").Gives(200, {}).Closing(),
        Answer("a body that looks like an answer", OK + "\r\n" + OK + "\r\n")
            .Gives(200, {}, OK + "\r\n")
            .Closing(),
        Answer("a body that ends with the connection, asked to keep it",
               OK + "Connection: keep-alive" + END + "hello")
            .Gives(200, {{"Connection", "keep-alive"}}, "hello")
            .Closing(),
        Answer("version 1.0 until the end", "HTTP/1.0 200 OK\r\n\r\nhello").Gives(200, {}, "hello").Closing(),
        Answer("a body whose connection is torn", OK + "\r\nhello").Torn().Fails(E::NotClosedCleanly),
        Answer("an empty body whose connection is torn", OK + "\r\n").Torn().Fails(E::NotClosedCleanly),
    };
}

/// RFC 9112, 6.3: answers that have no body whatever they say.
Answers WithoutBody() {
    return {
        Answer("an answer to HEAD", OK + "A: b" + END).To(Method::Head).Gives(200, {{"A", "b"}}),
        Answer("an answer to HEAD with a length", OK + "Content-Length: 5" + END)
            .To(Method::Head)
            .Gives(200, {{"Content-Length", "5"}}),
        Answer("an answer to HEAD with a huge length", OK + "Content-Length: 9223372036854775807" + END)
            .To(Method::Head)
            .Gives(200, {{"Content-Length", "9223372036854775807"}}),
        Answer("an answer to HEAD in chunks", OK + "Transfer-Encoding: chunked" + END)
            .To(Method::Head)
            .Gives(200, {{"Transfer-Encoding", "chunked"}}),
        Answer("an answer to HEAD followed by a body", OK + "Content-Length: 5" + END + "hello")
            .To(Method::Head)
            .Gives(200, {{"Content-Length", "5"}})
            .Leaving(5),
        Answer("an answer to HEAD with a coding", OK + "Content-Encoding: gzip\r\nContent-Length: 25" + END)
            .To(Method::Head)
            .Gives(200, {{"Content-Encoding", "gzip"}, {"Content-Length", "25"}}),
        Answer("an answer to HEAD, torn", OK + "A: b" + END).To(Method::Head).Torn().Gives(200, {{"A", "b"}}),
        Answer("304 with a length", "HTTP/1.1 304 Same\r\nContent-Length: 5" + END)
            .Gives(304, {{"Content-Length", "5"}}),
        Answer("304 in chunks", "HTTP/1.1 304 Same\r\nTransfer-Encoding: chunked" + END)
            .Gives(304, {{"Transfer-Encoding", "chunked"}}),
        Answer("204 with length 0", "HTTP/1.1 204 No\r\nContent-Length: 0" + END)
            .Gives(204, {{"Content-Length", "0"}}),
        // What may follow these must not become the next answer.
        Answer("204 with a length", "HTTP/1.1 204 No\r\nContent-Length: 5" + END)
            .Gives(204, {{"Content-Length", "5"}})
            .Closing(),
        Answer("204 in chunks", "HTTP/1.1 204 No\r\nTransfer-Encoding: chunked" + END + "0\r\n\r\n")
            .Gives(204, {{"Transfer-Encoding", "chunked"}})
            .Closing()
            .Leaving(5),
        Answer("205 with a body", "HTTP/1.1 205 Reset\r\nContent-Length: 5" + END + "hello")
            .Gives(205, {{"Content-Length", "5"}}, "hello"),
        // Bad framing is refused even where no body follows: RFC 9112, 6.3, lets it be an error, and it is what somebody
        // on the way may have split answers with.
        Answer("an answer to HEAD with two lengths", OK + "Content-Length: 5\r\nContent-Length: 6" + END)
            .To(Method::Head)
            .Fails(E::BadFraming),
        Answer("an answer to HEAD with both framings",
               OK + "Content-Length: 5\r\nTransfer-Encoding: chunked" + END)
            .To(Method::Head)
            .Fails(E::BadFraming),
        Answer("304 with both framings",
               "HTTP/1.1 304 Same\r\nContent-Length: 5\r\nTransfer-Encoding: chunked" + END)
            .Fails(E::BadFraming),
        Answer("204 with a malformed length", "HTTP/1.1 204 No\r\nContent-Length: five" + END)
            .Fails(E::BadFraming),
        Answer("204 with a gzip coding", "HTTP/1.1 204 No\r\nTransfer-Encoding: gzip" + END)
            .Fails(E::BadFraming),
    };
}

} // namespace

Answers FramingAnswers() {
    Answers answers;
    for (const Answers& part : {Lengths(), TransferCodings(), UntilTheEnd(), WithoutBody()}) {
        answers.insert(answers.end(), part.begin(), part.end());
    }
    return answers;
}

} // namespace httpclient::http1
