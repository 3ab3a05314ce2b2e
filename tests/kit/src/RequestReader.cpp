// SPDX-License-Identifier: Apache-2.0
#include "RequestReader.h"

#include <array>
#include <charconv>

#include "Text.h"

namespace httpclient::testing {

namespace {

constexpr std::string_view LINE_END = "\r\n";

std::optional<std::size_t> Number(std::string_view text, int base) {
    std::size_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
    if (error != std::errc() || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return number;
}

bool SplitRequestLine(std::string_view line, RecordedRequest& request) {
    const std::size_t first = line.find(' ');
    const std::size_t last = line.rfind(' ');
    if (first == std::string_view::npos || first == last) {
        return false;
    }
    request.method = line.substr(0, first);
    request.target = line.substr(first + 1, last - first - 1);
    request.version = line.substr(last + 1);
    return request.version.rfind("HTTP/", 0) == 0;
}

} // namespace

bool RequestReader::Fill() {
    std::array<char, 16384> buffer;
    const std::size_t count = m_stream.Read(buffer.data(), buffer.size());
    m_bytes.append(buffer.data(), count);
    return count > 0;
}

bool RequestReader::Need(std::size_t size) {
    while (m_bytes.size() - m_parsed < size) {
        if (!Fill()) {
            return false;
        }
    }
    return true;
}

// The view holds until the next read.
std::optional<std::string_view> RequestReader::Line() {
    std::size_t end = m_bytes.find(LINE_END, m_parsed);
    while (end == std::string::npos) {
        if (!Fill()) {
            return std::nullopt;
        }
        end = m_bytes.find(LINE_END, m_parsed);
    }
    const std::string_view line = std::string_view(m_bytes).substr(m_parsed, end - m_parsed);
    m_parsed = end + LINE_END.size();
    return line;
}

bool RequestReader::ReadHead(RecordedRequest& request) {
    auto line = Line();
    if (!line || !SplitRequestLine(*line, request)) {
        return false;
    }
    for (line = Line(); line && !line->empty(); line = Line()) {
        request.headerLines.emplace_back(*line);
    }
    return line.has_value();
}

bool RequestReader::Take(std::size_t size, std::string& body) {
    if (!Need(size)) {
        return false;
    }
    body.append(m_bytes, m_parsed, size);
    m_parsed += size;
    return true;
}

bool RequestReader::ReadSized(std::string_view length, std::string& body) {
    const auto size = Number(length, 10);
    return size && Take(*size, body);
}

bool RequestReader::ReadChunks(std::string& body) {
    for (;;) {
        const auto line = Line();
        const auto size = line ? Number(Trimmed(line->substr(0, line->find(';'))), 16) : std::nullopt;
        if (!size) {
            return false;
        }
        if (*size == 0) {
            break;
        }
        const auto afterChunk = Take(*size, body) ? Line() : std::nullopt;
        if (!afterChunk || !afterChunk->empty()) {
            return false;
        }
    }
    auto trailer = Line();
    while (trailer && !trailer->empty()) {
        trailer = Line();
    }
    return trailer.has_value();
}

bool RequestReader::ReadBody(RecordedRequest& request) {
    const auto coding = request.Header("Transfer-Encoding");
    const auto length = request.Header("Content-Length");
    if (!coding && !length) {
        return true;
    }
    const auto expected = request.Header("Expect");
    if (m_answerExpect && expected && SameIgnoringCase(*expected, "100-continue") &&
        !m_stream.Write("HTTP/1.1 100 Continue\r\n\r\n")) {
        return false;
    }
    if (coding) {
        return SameIgnoringCase(*coding, "chunked") && ReadChunks(request.body);
    }
    return ReadSized(*length, request.body);
}

std::optional<RecordedRequest> RequestReader::Next() {
    RecordedRequest request;
    if (!ReadHead(request) || !ReadBody(request)) {
        return std::nullopt;
    }
    request.raw = m_bytes.substr(0, m_parsed);
    m_bytes.erase(0, m_parsed);
    m_parsed = 0;
    return request;
}

} // namespace httpclient::testing
