// SPDX-License-Identifier: Apache-2.0
// RFC 9112, 4: status-line = HTTP-version SP status-code SP [ reason-phrase ]
#include "Answers.h"

namespace httpclient::http1 {

using namespace std::string_literals;

Answers StatusLineAnswers() {
    return {
        Answer("a reason", "HTTP/1.1 204 No Content\r\n\r\n").Gives(204, {}),
        Answer("no reason", "HTTP/1.1 204 \r\n\r\n").Gives(204, {}),
        Answer("a reason with blanks, tabs and other letters", "HTTP/1.1 204 a \t\xC3\xA4\xFF z \r\n\r\n")
            .Gives(204, {}),
        Answer("a reason that looks like a field", "HTTP/1.1 204 A: b\r\n\r\n").Gives(204, {}),
        Answer("version 1.0", "HTTP/1.0 204 No Content\r\n\r\n").Gives(204, {}).Closing(),
        Answer("the lowest final status", "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n")
            .Gives(200, {{"Content-Length", "0"}}),
        Answer("the highest status", "HTTP/1.1 599 ?\r\nContent-Length: 0\r\n\r\n")
            .Gives(599, {{"Content-Length", "0"}}),
        Answer("a status nobody has registered", "HTTP/1.1 299 ?\r\nContent-Length: 0\r\n\r\n")
            .Gives(299, {{"Content-Length", "0"}}),

        Answer("no blank after the status", "HTTP/1.1 204\r\n\r\n").Fails(E::BadStatusLine),
        Answer("a tab after the status", "HTTP/1.1 204\tNo\r\n\r\n").Fails(E::BadStatusLine),
        Answer("a status of four digits", "HTTP/1.1 2040 No\r\n\r\n").Fails(E::BadStatusLine),
        Answer("a status of two digits", "HTTP/1.1 20 OK\r\n\r\n").Fails(E::BadStatus),
        Answer("no status", "HTTP/1.1 \r\n\r\n").Fails(E::BadStatus),
        Answer("nothing after the version", "HTTP/1.1\r\n\r\n").Fails(E::BadVersion),
        Answer("two blanks before the status", "HTTP/1.1  204 No\r\n\r\n").Fails(E::BadStatus),
        Answer("a status with a sign", "HTTP/1.1 -20 No\r\n\r\n").Fails(E::BadStatus),
        Answer("a status with letters", "HTTP/1.1 2O4 No\r\n\r\n").Fails(E::BadStatus),
        Answer("status 000", "HTTP/1.1 000 No\r\n\r\n").Fails(E::BadStatus),
        Answer("status 099", "HTTP/1.1 099 No\r\n\r\n").Fails(E::BadStatus),
        Answer("status 600", "HTTP/1.1 600 No\r\n\r\n").Fails(E::BadStatus),
        Answer("status 999", "HTTP/1.1 999 No\r\n\r\n").Fails(E::BadStatus),

        Answer("version 2", "HTTP/2 200 OK\r\n\r\n").Fails(E::BadVersion),
        Answer("version 2.0", "HTTP/2.0 200 OK\r\n\r\n").Fails(E::BadVersion),
        Answer("version 0.9", "HTTP/0.9 200 OK\r\n\r\n").Fails(E::BadVersion),
        Answer("version 1.2", "HTTP/1.2 204 No\r\n\r\n").Fails(E::BadVersion),
        Answer("version 1.10", "HTTP/1.10 204 No\r\n\r\n").Fails(E::BadVersion),
        Answer("version 11.1", "HTTP/11.1 204 No\r\n\r\n").Fails(E::BadVersion),
        Answer("a version with a letter", "HTTP/1.x 204 No\r\n\r\n").Fails(E::BadVersion),
        Answer("a tab after the version", "HTTP/1.1\t204 No\r\n\r\n").Fails(E::BadVersion),
        Answer("small letters", "http/1.1 204 No\r\n\r\n").Fails(E::BadStatusLine),
        Answer("another protocol of the web", "ICY 200 OK\r\n\r\n").Fails(E::BadStatusLine),
        Answer("a mail server", "220 mail.example ESMTP\r\n").Fails(E::BadStatusLine),
        Answer("a TLS alert", "\x15\x03\x01\x00\x02\x02\x0A"s).Fails(E::BadStatusLine),
        Answer("a document without a head", "<html></html>").Fails(E::BadStatusLine),
        Answer("a request", "GET / HTTP/1.1\r\n\r\n").Fails(E::BadStatusLine),
        // RFC 9112, 2.2, has empty lines skipped before a request, not before an answer.
        Answer("an empty line first", "\r\nHTTP/1.1 204 No\r\n\r\n").Fails(E::BadStatusLine),
        Answer("a blank first", " HTTP/1.1 204 No\r\n\r\n").Fails(E::BadStatusLine),
        Answer("a byte order mark first", "\xEF\xBB\xBFHTTP/1.1 204 No\r\n\r\n").Fails(E::BadStatusLine),

        Answer("NUL in the reason", "HTTP/1.1 204 N\0o\r\n\r\n"s).Fails(E::BadStatusLine),
        Answer("a control character in the reason", "HTTP/1.1 204 N\x1Bo\r\n\r\n").Fails(E::BadStatusLine),
        Answer("DEL in the reason", "HTTP/1.1 204 N\x7Fo\r\n\r\n").Fails(E::BadStatusLine),
        Answer("CR in the reason", "HTTP/1.1 204 N\ro\r\n\r\n").Fails(E::BadLineBreak),
        Answer("LF alone after the status line", "HTTP/1.1 204 No\nA: b\r\n\r\n").Fails(E::BadLineBreak),
        Answer("LF alone at each line", "HTTP/1.1 204 No\nA: b\n\n").Fails(E::BadLineBreak),

        Answer("CR alone at each line", "HTTP/1.1 204 No\rA: b\r\r").Fails(E::BadLineBreak),
        Answer("CR alone in half a status line", "HTTP/1.1 204 N\ro").Fails(E::BadLineBreak),

        Answer("nothing", "").Fails(E::EndedEarly),
        Answer("one byte", "H").Fails(E::EndedEarly),
        Answer("half a status line", "HTTP/1.1 20").Fails(E::EndedEarly),
        Answer("a status line alone", "HTTP/1.1 204 No\r\n").Fails(E::EndedEarly),
        Answer("a head without its last byte", "HTTP/1.1 204 No\r\n\r").Fails(E::EndedEarly),
        Answer("half a head, torn", "HTTP/1.1 204 No\r\nA: ").Torn().Fails(E::EndedEarly),
    };
}

} // namespace httpclient::http1
