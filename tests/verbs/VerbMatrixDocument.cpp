// SPDX-License-Identifier: Apache-2.0
#include "VerbMatrixDocument.h"

namespace {

constexpr const char* OPENING =
    R"(<!-- Written by the test verbs.VerbMatrix; UPDATE_GOLDEN_FILES=1 writes it anew. -->
# What a synchronous send inherits

A pooled connection keeps the options of libcurl that earlier sends set on it, and a send sets only those of its own
verb. So what goes over the wire depends on what the connection was used for before. This is how the library has always
worked and stays so; the tables hold what each verb (the columns) does on a connection last used by another one (the
rows). Every request here has the body "content", and the server answers each with the body "answer" but for a HEAD. A
cell names the method on the wire, the bytes of the body that were sent, and what the response's body holds afterwards.

What to make of it:

- **HEAD goes out under the method of the send before it**, with no body. Send a HEAD only to addresses of which the host
  asks nothing else, or give it a pool address of its own (its name in capitals will do).
- **After a HEAD, a connection never receives a body again**, and sends none: each later send gets the answer's head in
  the place of its body. libcurl leaves the body that the server sends unread, so the library closes the network
  connection behind it. The pooled connection must be closed to end that: it is once it has been idle for the release
  time (`SetRlsTime`), or when the host calls `Finalize`.
- GET and DELETE go out with `Content-Length: 0` and a content type. A server that minds needs another client.
- Asynchronous sends reset the connection's options first and inherit nothing. Their HEAD is a GET.

)";

std::string Received(const Exchange& exchange) {
    if (exchange.result == -1) {
        return "fails";
    }
    if (exchange.received == "answer") {
        return "body";
    }
    if (exchange.received.empty()) {
        return "nothing";
    }
    return exchange.received.find("answer") == std::string::npos ? "head" : "head and body";
}

std::string Cell(const Exchange& exchange) {
    return exchange.sent.method + ", " + std::to_string(exchange.sent.body.size()) + " bytes, " +
           Received(exchange);
}

} // namespace

void MatrixDocument::Add(bool bSSL, const std::string& first, const std::string& second,
                         const Exchange& exchange) {
    Table& table = bSSL ? m_tls : m_plain;
    if (table.lastRow != first) {
        table.headDone = !table.rows.empty();
        table.rows += (table.rows.empty() ? "| " : "\n| ") + first + " |";
        table.lastRow = first;
    }
    if (!table.headDone) {
        table.head += " then " + second + " |";
    }
    table.rows += " " + Cell(exchange) + " |";
}

std::string MatrixDocument::TextOf(const Table& table) {
    std::string rule = "|---|";
    for (const char byte : table.head) {
        if (byte == '|') {
            rule += "---|";
        }
    }
    return "| first |" + table.head + "\n" + rule + "\n" + table.rows + "\n";
}

std::string MatrixDocument::Text() const {
    return OPENING + std::string("## Plain connections\n\n") + TextOf(m_plain) + "\n## TLS connections\n\n" +
           TextOf(m_tls);
}
