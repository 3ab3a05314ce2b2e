// SPDX-License-Identifier: Apache-2.0
#include "AnswerServer.h"

#include <chrono>
#include <string>

using namespace httpclient::testing;

namespace {

// Longer than the client needs to reach its wait, callgrind's slowness included.
constexpr std::chrono::milliseconds ANSWER_TIME{2};

std::string Answer() {
    return "HTTP/1.1 200 OK\r\nServer: nginx/1.22.1\r\nDate: Sat, 21 Nov 2026 08:52:00 GMT\r\n"
           "Content-Type: text/plain\r\nContent-Length: 128\r\n"
           "Last-Modified: Sat, 21 Nov 2026 08:00:00 GMT\r\nConnection: keep-alive\r\n"
           "ETag: \"673eee00-80\"\r\nAccept-Ranges: bytes\r\n\r\n" +
           std::string(128, 'x');
}

} // namespace

AnswerServer::AnswerServer()
    : m_server([](const RecordedRequest&) { return Delayed(Raw(Answer()), ANSWER_TIME); }) {}
