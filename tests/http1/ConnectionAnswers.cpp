// SPDX-License-Identifier: Apache-2.0
// RFC 9112, 9: whether the connection is kept. RFC 9110, 15.2: interim answers.
#include "Answers.h"

namespace httpclient::http1 {
namespace {

const std::string OLD_NO_CONTENT = "HTTP/1.0 204 No\r\n";
const std::string CONTINUE = "HTTP/1.1 100 Continue\r\n\r\n";

Answer Saying(const std::string& value) {
    return Answer("Connection: " + value, NO_CONTENT + "Connection: " + value + END)
        .Gives(204, {{"Connection", value}});
}

Answer OldSaying(const std::string& value) {
    return Answer("version 1.0, Connection: " + value, OLD_NO_CONTENT + "Connection: " + value + END)
        .Gives(204, {{"Connection", value}});
}

Answers Connections() {
    return {
        Saying("close").Closing(),
        Saying("Close").Closing(),
        Saying("keep-alive"),
        Saying("close, keep-alive").Closing(),
        Saying("keep-alive,close").Closing(),
        Saying("foo , CLOSE\t, bar").Closing(),
        Saying(", ,close,").Closing(),
        Saying("foo"),
        Saying("closed"),
        Saying("close-not"),
        Saying(""),
        Answer("Connection twice", NO_CONTENT + "Connection: keep-alive\r\nConnection: close" + END)
            .Gives(204, {{"Connection", "keep-alive"}, {"Connection", "close"}})
            .Closing(),
        OldSaying("keep-alive"),
        OldSaying("Keep-Alive, foo"),
        OldSaying("keep-alive, close").Closing(),
        OldSaying("foo").Closing(),
        Answer("version 1.0 with a length, kept",
               "HTTP/1.0 200 OK\r\nConnection: keep-alive\r\nContent-Length: 5" + END + "hello")
            .Gives(200, {{"Connection", "keep-alive"}, {"Content-Length", "5"}}, "hello"),
        // Beast takes this field for Connection.
        Answer("Proxy-Connection: close", NO_CONTENT + "Proxy-Connection: close" + END)
            .Gives(204, {{"Proxy-Connection", "close"}}),
        Answer("version 1.0, Proxy-Connection: keep-alive",
               OLD_NO_CONTENT + "Proxy-Connection: keep-alive" + END)
            .Gives(204, {{"Proxy-Connection", "keep-alive"}})
            .Closing(),
        Answer("a malformed Connection", NO_CONTENT + "Connection: a b" + END).Fails(E::BadField),
    };
}

std::string Times(int count, const std::string& text) {
    std::string all;
    for (int i = 0; i < count; ++i) {
        all += text;
    }
    return all;
}

Answers Interims() {
    const std::string final = NO_CONTENT + "A: b" + END;
    return {
        Answer("100 before the answer", CONTINUE + final).Gives(204, {{"A", "b"}}),
        Answer("103 with fields of its own", "HTTP/1.1 103 Hints\r\nLink: </a>\r\nC: d" + END + final)
            .Gives(204, {{"A", "b"}}),
        Answer("102, 199 and 150",
               "HTTP/1.1 102 P\r\n\r\nHTTP/1.1 199 ?\r\n\r\nHTTP/1.1 150 ?\r\n\r\n" + final)
            .Gives(204, {{"A", "b"}}),
        Answer("eight interim answers", Times(8, CONTINUE) + final).Gives(204, {{"A", "b"}}),
        Answer("nine interim answers", Times(9, CONTINUE) + final).Fails(E::TooManyInterim),
        Answer("an interim answer to HEAD", CONTINUE + "HTTP/1.1 200 OK\r\nContent-Length: 5" + END)
            .To(Method::Head)
            .Gives(200, {{"Content-Length", "5"}}),
        Answer("an interim answer that would close", "HTTP/1.1 100 Go\r\nConnection: close" + END + final)
            .Gives(204, {{"A", "b"}}),
        Answer("an interim answer with a length 0", "HTTP/1.1 100 Go\r\nContent-Length: 0" + END + final)
            .Gives(204, {{"A", "b"}}),
        Answer("an interim answer with a fold, then a body", "HTTP/1.1 103 Hints\r\nLink: a\r\n b" + END +
                                                                 "HTTP/1.1 200 OK\r\nContent-Length: 5" +
                                                                 END + "hello")
            .Gives(200, {{"Content-Length", "5"}}, "hello"),
        Answer("an interim answer with a body",
               "HTTP/1.1 100 Go\r\nContent-Length: 5" + END + "hello" + final)
            .Fails(E::BadStatusLine),
        Answer("101", "HTTP/1.1 101 Switch\r\nUpgrade: h2c\r\nConnection: upgrade" + END)
            .Fails(E::UpgradeRefused),
        Answer("101 after 100", CONTINUE + "HTTP/1.1 101 Switch\r\n\r\n").Fails(E::UpgradeRefused),
        Answer("an interim answer alone", CONTINUE).Fails(E::EndedEarly),
        Answer("an interim answer with a bad field", "HTTP/1.1 100 Go\r\nA : b" + END + final)
            .Fails(E::BadField),
        Answer("an interim answer with both framings",
               "HTTP/1.1 100 Go\r\nContent-Length: 0\r\nTransfer-Encoding: chunked" + END + final)
            .Fails(E::BadFraming),
        Answer("a bad answer after an interim one", CONTINUE + "HTTP/2 200 OK" + END).Fails(E::BadVersion),
        Answer("a fold after an interim answer", CONTINUE + NO_CONTENT + " A: b" + END).Fails(E::BadField),
    };
}

} // namespace

Answers ConnectionAnswers() {
    Answers answers;
    for (const Answers& part : {Connections(), Interims()}) {
        answers.insert(answers.end(), part.begin(), part.end());
    }
    return answers;
}

} // namespace httpclient::http1
