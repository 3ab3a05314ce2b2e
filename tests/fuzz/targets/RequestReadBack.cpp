// SPDX-License-Identifier: Apache-2.0
// What a host asks for, sent over a connection and read back by two readers of other makes: it is the request that was
// asked for, and nothing behind it.
#include <algorithm>
#include <array>
#include <cctype>
#include <cstring>

#include <http_parser.h>
#include <sys/socket.h>
#include <sys/uio.h>

#include <boost/beast/http.hpp>

#include <httpclient/Request.h>

#include "../Input.h"
#include "../Require.h"
#include "../Target.h"
#include "engine/RequestBody.h"
#include "engine/Sending.h"
#include "http1/RequestHead.h"
#include "net/Channel.h"

using namespace httpclient;
using http1::Field;

namespace {

/// A request as a reader sees it.
struct Seen {
    std::string method;
    std::string target;
    std::vector<Field> fields;
    std::string body;
};

// ---- the first reader: Beast

Seen ReadByBeast(const std::string& bytes) {
    namespace http = boost::beast::http;
    http::request_parser<http::string_body> parser;
    parser.header_limit(1U << 20U);
    boost::beast::error_code error;
    parser.eager(true);
    const std::size_t used = parser.put(boost::asio::buffer(bytes), error);
    Require(!error && parser.is_done() && used == bytes.size(),
            "Beast reads one request, and nothing behind it");
    const auto& request = parser.get();
    Require(request.version() == 11, "of version 1.1");
    Seen seen{std::string(request.method_string()), std::string(request.target()), {}, request.body()};
    for (const auto& field : request) {
        seen.fields.emplace_back(std::string(field.name_string()), std::string(field.value()));
    }
    return seen;
}

// ---- the second reader: http_parser

struct Collected : Seen {
    bool inValue = false;
    unsigned messages = 0;
};

template <std::string Seen::*Part> int Append(http_parser* parser, const char* at, std::size_t size) {
    (static_cast<Collected*>(parser->data)->*Part).append(at, size);
    return 0;
}

int AppendName(http_parser* parser, const char* at, std::size_t size) {
    auto& seen = *static_cast<Collected*>(parser->data);
    if (seen.inValue || seen.fields.empty()) {
        seen.fields.emplace_back();
        seen.inValue = false;
    }
    seen.fields.back().first.append(at, size);
    return 0;
}

int AppendValue(http_parser* parser, const char* at, std::size_t size) {
    auto& seen = *static_cast<Collected*>(parser->data);
    seen.inValue = true;
    seen.fields.back().second.append(at, size);
    return 0;
}

int CountMessage(http_parser* parser) {
    ++static_cast<Collected*>(parser->data)->messages;
    return 0;
}

Seen ReadByParser(const std::string& bytes) {
    http_parser_settings settings;
    http_parser_settings_init(&settings);
    settings.on_url = Append<&Seen::target>;
    settings.on_header_field = AppendName;
    settings.on_header_value = AppendValue;
    settings.on_body = Append<&Seen::body>;
    settings.on_message_complete = CountMessage;
    http_parser parser;
    http_parser_init(&parser, HTTP_REQUEST);
    Collected seen;
    parser.data = &seen;
    const std::size_t used = http_parser_execute(&parser, &settings, bytes.data(), bytes.size());
    Require(HTTP_PARSER_ERRNO(&parser) == HPE_OK && used == bytes.size(), "http_parser reads it all");
    Require(seen.messages == 1, "and it is one request");
    Require(parser.http_major == 1 && parser.http_minor == 1 && parser.upgrade == 0, "of version 1.1");
    seen.method = http_method_str(static_cast<http_method>(parser.method));
    return seen;
}

// ---- what is sent

/// A source that gives a text in pieces of these sizes.
std::function<BodySource()> SourceOf(const std::string& text, const std::string& sizes) {
    return [text, sizes]() -> BodySource {
        return [text, sizes, at = std::size_t{0}, turn = std::size_t{0}](char* to, std::size_t room) mutable {
            const std::size_t most =
                sizes.empty() ? room : static_cast<unsigned char>(sizes[turn++ % sizes.size()]) + 1UL;
            const std::size_t size = std::min({most, room, text.size() - at});
            text.copy(to, size, at);
            at += size;
            return static_cast<std::ptrdiff_t>(size);
        };
    };
}

/// Both ends of a connection, with room for all that an input makes.
class Wire {
public:
    Wire() {
        Require(socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, m_ends.data()) == 0,
                "there are descriptors");
    }
    net::Descriptor TakeOurs() { return net::Descriptor(m_ends[0]); }
    std::string Received() const {
        std::string all;
        std::array<char, 65536> piece{};
        for (ssize_t count = 0; (count = recv(m_ends[1], piece.data(), piece.size(), 0)) > 0;) {
            all.append(piece.data(), static_cast<std::size_t>(count));
        }
        return all;
    }
    ~Wire() { const net::Descriptor theirs(m_ends[1]); }
    Wire(const Wire&) = delete;
    Wire& operator=(const Wire&) = delete;

private:
    std::array<int, 2> m_ends{-1, -1};
};

std::string Sent(const Request::Body& request, const std::string& head) {
    Wire wire;
    net::Channel channel(wire.TakeOurs());
    engine::Sending sending(request, {head});
    for (;;) {
        switch (sending.Step(channel)) {
        case engine::Sending::Status::Source:
            sending.RunSource();
            break;
        case engine::Sending::Status::Sent:
            return wire.Received();
        case engine::Sending::Status::Pending: // after some writes others may go first
            break;
        default:
            Require(false, "a request can be sent");
        }
    }
}

// ---- what is compared

bool Same(std::string_view one, std::string_view other) {
    return std::equal(one.begin(), one.end(), other.begin(), other.end(), [](char a, char b) {
        return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b));
    });
}

/// Whether a field may stand in a request that the host did not put there.
bool IsOurs(const std::string& name) {
    constexpr std::string_view OURS[] = {"Host",         "User-Agent",     "Accept-Encoding",
                                         "Content-Type", "Content-Length", "Transfer-Encoding"};
    return std::any_of(std::begin(OURS), std::end(OURS),
                       [&](std::string_view one) { return Same(one, name); });
}

std::size_t Count(const std::vector<Field>& fields, std::string_view name) {
    return static_cast<std::size_t>(std::count_if(
        fields.begin(), fields.end(), [&](const Field& field) { return Same(field.first, name); }));
}

/// http_parser takes a longer name that begins so for Transfer-Encoding, and then refuses a length.
bool MisleadsParser(const std::vector<Field>& fields) {
    constexpr std::string_view NAME = "Transfer-Encoding";
    return std::any_of(fields.begin(), fields.end(), [&](const Field& field) {
        return field.first.size() > NAME.size() &&
               Same(std::string_view(field.first).substr(0, NAME.size()), NAME);
    });
}

/// Fields of one name stay in their order; which names go first is left open.
std::vector<Field> ByName(std::vector<Field> fields) {
    std::stable_sort(fields.begin(), fields.end(), [](const Field& one, const Field& other) {
        return std::lexicographical_compare(
            one.first.begin(), one.first.end(), other.first.begin(), other.first.end(),
            [](unsigned char a, unsigned char b) { return std::tolower(a) < std::tolower(b); });
    });
    return fields;
}

void RequireAskedFor(const Seen& seen, const Request::Body& asked, const http1::RequestHead& head,
                     const std::string& body) {
    Require(seen.method == http1::NameOf(asked.method), "the method");
    Require(seen.target == asked.target, "the target");
    Require(seen.body == body, "the body");
    Require(!seen.fields.empty() && seen.fields.front() == Field("Host", std::string(head.host)),
            "the host first");
    // Beast puts fields of one name beside each other.
    const std::vector<Field> fields = ByName(seen.fields);
    const std::vector<Field> hosts = ByName(asked.fields);
    auto own = hosts.begin();
    for (const Field& field : fields) {
        if (own != hosts.end() && field == *own) {
            ++own;
        } else {
            Require(IsOurs(field.first), "no field that nobody asked for");
        }
    }
    Require(own == hosts.end(), "the host's fields, all of them, those of one name in order");
    Require(Count(seen.fields, "Host") == 1, "one host");
    Require(Count(seen.fields, "Content-Length") + Count(seen.fields, "Transfer-Encoding") <= 1,
            "one framing");
    for (const char* name : {"User-Agent", "Accept-Encoding", "Content-Type"}) {
        Require(Count(seen.fields, name) <= std::max<std::size_t>(1, Count(asked.fields, name)),
                "defaults once");
    }
}

} // namespace

void FuzzRequestReadBack(std::string_view input) {
    Input fields(input);
    const unsigned choices = fields.Byte();
    const std::string target = fields.Field();
    const std::string host = fields.Field();
    const std::string type = fields.Field();
    const std::string sizes = fields.Field();
    const std::string body = fields.Block();
    Request request(static_cast<Method>(choices % 7), target);
    if ((choices & 8U) != 0) {
        const std::string name = fields.Field();
        request.parameter(name, fields.Field());
    }
    const unsigned way = choices >> 4U & 3U;
    if (way == 1) {
        request.body(body, type);
    } else if (way == 2) {
        request.bodySource(SourceOf(body, sizes), body.size(), type);
    } else if (way == 3) {
        request.bodySource(SourceOf(body, sizes), std::nullopt, type);
    }
    while (!fields.AtEnd()) {
        std::string name = fields.Field();
        request.header(std::move(name), fields.Field());
    }

    const Request::Body& asked = *request.internals();
    http1::RequestHead head;
    head.method = asked.method;
    head.target = asked.target;
    head.host = host;
    head.fields = &asked.fields;
    head.contentType = asked.contentType;
    head.userAgent = "libhttpclient";
    head.acceptCodings = (choices & 64U) != 0;
    head.framing = asked.Framing();
    std::string text;
    // An origin always has a host; readers refuse a request without one.
    if (host.empty() || http1::WriteRequestHead(head, text)) {
        return;
    }
    const std::string sent = Sent(asked, text);
    const std::string& expected = way == 0 ? std::string() : body;
    RequireAskedFor(ReadByBeast(sent), asked, head, expected);
    if (!MisleadsParser(asked.fields)) {
        RequireAskedFor(ReadByParser(sent), asked, head, expected);
    }
}
