// SPDX-License-Identifier: Apache-2.0
#include <stdexcept>
#include <utility>

#include <httpclient/Response.h>

#include "engine/Outcome.h"

namespace httpclient {

namespace {

// Never destroyed, so that threads that outlive main() may still use them.
const std::string& NO_CONTENT = *new std::string;
const Timings& NO_TIMINGS = *new Timings(*new Timings::Body);

} // namespace

Response::Response(std::unique_ptr<Body> body) noexcept : m_body(std::move(body)) {}
Response::Response(Response&& other) noexcept = default;
Response& Response::operator=(Response&& other) noexcept = default;
Response::~Response() = default;

int Response::status() const noexcept {
    return m_body ? m_body->head.status : 0;
}

std::size_t Response::headerCount() const noexcept {
    return m_body ? m_body->head.size() : 0;
}

std::pair<std::string_view, std::string_view> Response::header(std::size_t index) const& {
    if (index >= headerCount()) {
        throw std::out_of_range("httpclient::Response::header: no header field with this index");
    }
    return m_body->head.at(index);
}

std::optional<std::string_view> Response::header(std::string_view name) const& {
    return m_body ? m_body->head.find(name) : std::nullopt;
}

std::vector<std::string_view> Response::headerValues(std::string_view name) const& {
    return m_body ? m_body->head.findAll(name) : std::vector<std::string_view>();
}

const std::string& Response::body() const& noexcept {
    return m_body ? m_body->content : NO_CONTENT;
}

std::string Response::body() && {
    return m_body ? std::move(m_body->content) : std::string();
}

const Timings& Response::timings() const noexcept {
    return m_body ? m_body->timings : NO_TIMINGS;
}

int Response::attempts() const noexcept {
    return m_body ? m_body->attempts : 0;
}

bool Response::reusedConnection() const noexcept {
    return m_body && m_body->reusedConnection;
}

} // namespace httpclient
