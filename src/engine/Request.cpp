// SPDX-License-Identifier: Apache-2.0
#include <utility>

#include <httpclient/Request.h>

#include "engine/RequestBody.h"
#include "support/Cleansing.h"

namespace httpclient {

Request::Body::~Body() {
    if (!door.secret) {
        return;
    }
    if (!text.empty()) { // one that is has held nothing: such a request is filled once
        Cleanse(text);
    }
    for (http1::Field& field : fields) {
        Cleanse(field.second);
    }
}

http1::BodyFraming Request::Body::Framing() const noexcept {
    using Kind = http1::BodyFraming::Kind;
    switch (content) {
    case Content::Text:
        return {Kind::Length, Text().size()};
    case Content::Source:
        return length ? http1::BodyFraming{Kind::Length, *length} : http1::BodyFraming{Kind::Chunked, 0};
    case Content::None:
        break;
    }
    return {};
}

const char* ToString(Method method) noexcept {
    return http1::NameOf(method);
}

Request::Request(Method method, std::string target)
    : m_body(std::make_unique<Body>(method, std::move(target))) {}
Request::Request(std::unique_ptr<Body> body) noexcept : m_body(std::move(body)) {}
Request::Request(const Request& other)
    : m_body(other.m_body ? std::make_unique<Body>(*other.m_body) : nullptr) {}
Request::Request(Request&& other) noexcept = default;
Request& Request::operator=(const Request& other) {
    return *this = Request(other);
}
Request& Request::operator=(Request&& other) noexcept = default;
Request::~Request() = default;

Request::Body& Request::Own() {
    if (!m_body) { // moved from: a new one, which has to be given everything
        m_body = std::make_unique<Body>(Method::Get, std::string());
    }
    return *m_body;
}

Request& Request::header(std::string name, std::string value) {
    Own().fields.emplace_back(std::move(name), std::move(value));
    return *this;
}

Request& Request::parameter(std::string_view name, std::string_view value) {
    http1::AppendParameter(Own().target, name, value);
    return *this;
}

Request& Request::body(std::string content, std::string contentType) {
    Own().content = Body::Content::Text;
    Own().text = std::move(content);
    Own().contentType = std::move(contentType);
    Own().open = nullptr;
    Own().length.reset();
    return *this;
}

Request& Request::bodySource(std::function<BodySource()> open, std::optional<std::uint64_t> length,
                             std::string contentType) {
    Own().content = Body::Content::Source;
    Own().text.clear();
    Own().contentType = std::move(contentType);
    Own().open = std::move(open);
    Own().length = length;
    return *this;
}

Request& Request::bodySink(BodySink sink) {
    Own().sink = std::move(sink);
    return *this;
}

Request& Request::onHead(std::function<bool(const Response&)> seen) {
    Own().seen = std::move(seen);
    return *this;
}

Request& Request::timeout(std::chrono::milliseconds whole) {
    Own().timeout = whole;
    return *this;
}

Request& Request::idempotent(bool may) {
    Own().idempotent = may;
    return *this;
}

Request& Request::label(std::string route) {
    Own().label = std::move(route);
    return *this;
}

} // namespace httpclient
