// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <cstdio>
#include <stdexcept>

#include <httpclient/testing/Reply.h>

namespace httpclient::testing {

namespace {

std::string HeadLines(int status, const Headers& headers) {
    std::string head =
        "HTTP/1.1 " + std::to_string(status) + " " + std::string(ReasonPhrase(status)) + "\r\n";
    for (const auto& [name, value] : headers) {
        head += name + ": " + value + "\r\n";
    }
    return head;
}

std::string Chunk(std::string_view text) {
    std::array<char, 20> size{};
    std::snprintf(size.data(), size.size(), "%zx", text.size());
    return std::string(size.data()) + "\r\n" + std::string(text) + "\r\n";
}

} // namespace

std::string_view ReasonPhrase(int status) {
    switch (status) {
    case 200:
        return "OK";
    case 201:
        return "Created";
    case 204:
        return "No Content";
    case 301:
        return "Moved Permanently";
    case 302:
        return "Found";
    case 304:
        return "Not Modified";
    case 400:
        return "Bad Request";
    case 401:
        return "Unauthorized";
    case 403:
        return "Forbidden";
    case 404:
        return "Not Found";
    case 405:
        return "Method Not Allowed";
    case 417:
        return "Expectation Failed";
    case 500:
        return "Internal Server Error";
    case 502:
        return "Bad Gateway";
    case 503:
        return "Service Unavailable";
    default:
        return "Status";
    }
}

Reply Raw(std::string bytes, After after) {
    return Reply{{Piece{std::move(bytes)}}, after};
}

Reply Respond(int status, const Headers& headers, std::string_view body) {
    return Raw(HeadLines(status, headers) + "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" +
               std::string(body));
}

Reply RespondHead(int status, const Headers& headers) {
    return Raw(HeadLines(status, headers) + "\r\n");
}

Reply RespondChunked(int status, const Headers& headers, const std::vector<std::string>& chunks) {
    Reply reply = Raw(HeadLines(status, headers) + "Transfer-Encoding: chunked\r\n\r\n");
    for (const std::string& chunk : chunks) {
        reply.pieces.push_back(Piece{Chunk(chunk)});
    }
    reply.pieces.push_back(Piece{Chunk("")});
    return reply;
}

Reply RespondUntilClose(int status, const Headers& headers, std::string_view body) {
    return Raw(HeadLines(status, headers) + "\r\n" + std::string(body), After::Close);
}

Reply Silence(After after) {
    return Reply{{}, after};
}

Reply Trickle(const Reply& reply, std::chrono::milliseconds delay) {
    Reply trickle{{}, reply.after};
    for (const Piece& piece : reply.pieces) {
        for (const char byte : piece.bytes) {
            trickle.pieces.push_back(Piece{std::string(1, byte), delay});
        }
    }
    return trickle;
}

Reply Then(Reply reply, After after) {
    reply.after = after;
    return reply;
}

Reply Delayed(Reply reply, std::chrono::milliseconds delay) {
    reply.pieces.insert(reply.pieces.begin(), Piece{"", delay});
    return reply;
}

ReplyScript::ReplyScript(std::vector<Reply> replies) : m_queue(std::make_shared<Queue>()) {
    m_queue->replies.assign(std::make_move_iterator(replies.begin()), std::make_move_iterator(replies.end()));
}

void ReplyScript::Add(Reply reply) {
    const std::lock_guard<std::mutex> lock(m_queue->mutex);
    m_queue->replies.push_back(std::move(reply));
}

std::size_t ReplyScript::left() const {
    const std::lock_guard<std::mutex> lock(m_queue->mutex);
    return m_queue->replies.size();
}

Reply ReplyScript::operator()(const RecordedRequest& request) {
    const std::lock_guard<std::mutex> lock(m_queue->mutex);
    if (m_queue->replies.empty()) {
        throw std::out_of_range("no reply left for " + request.method + " " + request.target);
    }
    Reply reply = std::move(m_queue->replies.front());
    m_queue->replies.pop_front();
    return reply;
}

} // namespace httpclient::testing
