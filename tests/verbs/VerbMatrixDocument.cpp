// SPDX-License-Identifier: Apache-2.0
#include "VerbMatrixDocument.h"

namespace {

constexpr const char* OPENING =
    R"(<!-- Written by the test verbs.VerbMatrix; UPDATE_GOLDEN_FILES=1 writes it anew. -->
# What a synchronous send inherits

A pooled connection keeps the options of libcurl that earlier sends set on it, and a send sets only those of its own
verb. So what goes over the wire depends on what the connection was used for before, and always will. The tables show
each verb (the columns) on a connection last used by another one (the rows). Every request here has the body "content",
and the server answers each with the body "answer", except a HEAD. A cell names the method on the wire, the bytes of the
body that were sent, and what the response's body holds afterwards.

What this means:

- **HEAD goes out with the method of the send before it**, with no body.
- **After a HEAD, a connection never sends or receives a body again**: each later send gets the head of the answer instead
  of its body. The library closes the network connection each time, because the body of the answer is left unread. This
  ends when the pooled connection is closed: after it has been idle for the release time (`SetRlsTime`), or when the host
  calls `Finalize`. [How to avoid it](behaviour-to-know.md#head-and-what-shares-its-connection).
- GET and DELETE go out with `Content-Length: 0` and a content type.
- [Asynchronous sends](behaviour-to-know.md#asynchronous-sends) reset the connection's options first and inherit nothing.

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
