// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <deque>
#include <map>
#include <optional>
#include <utility>

#include <json/reader.h>
#include <json/value.h>
#include <json/writer.h>

#include <httpclient/testing/FakeTokenService.h>

#include "Watched.h"

namespace httpclient::testing {

namespace {

constexpr const char* PATH = "/rest/sia/v1/tokens/jwt/sia";

std::string StringMember(const Json::Value& object, const char* name) {
    const Json::Value& member = object[name];
    return member.isString() ? member.asString() : "";
}

FakeTokenService::Exchange Understand(const std::string& body) {
    Json::CharReaderBuilder builder;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value value;
    FakeTokenService::Exchange exchange{"", "", body};
    if (reader->parse(body.data(), body.data() + body.size(), &value, nullptr) && value.isObject()) {
        exchange.service = StringMember(value, "domain");
        exchange.jwt = StringMember(value, "jwt");
    }
    return exchange;
}

Reply TokenReply(const std::string& token) {
    Json::Value answer;
    answer["token"] = token;
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    return Respond(200, {{"Content-Type", "application/json"}}, Json::writeString(builder, answer));
}

} // namespace

/// Answers the requests; shared with the server's threads.
class FakeTokenService::Desk {
public:
    struct Papers {
        std::map<std::string, std::deque<std::string>> tokens;
        LoopbackServer::Handler instead;
        std::vector<Exchange> exchanges;
    };

    Reply Answer(const RecordedRequest& request) {
        const Exchange exchange = Understand(request.body);
        const auto instead = m_papers.Update([&exchange](Papers& papers) {
            papers.exchanges.push_back(exchange);
            return papers.instead;
        });
        if (instead) {
            return instead(request);
        }
        if (request.target != PATH) {
            return Respond(404);
        }
        if (request.method != "POST") {
            return Respond(405);
        }
        if (exchange.service.empty() || exchange.jwt.empty()) {
            return Respond(400);
        }
        const auto token = NextToken(exchange.service);
        return token ? TokenReply(*token) : Respond(404);
    }

    Watched<Papers>& papers() { return m_papers; }

private:
    std::optional<std::string> NextToken(const std::string& service) {
        return m_papers.Update([&service](Papers& papers) -> std::optional<std::string> {
            std::deque<std::string>& tokens = papers.tokens[service];
            if (tokens.empty()) {
                return std::nullopt;
            }
            std::string token = tokens.front();
            if (tokens.size() > 1) {
                tokens.pop_front();
            }
            return token;
        });
    }

    Watched<Papers> m_papers;
};

FakeTokenService::FakeTokenService(const TlsOptions& tls, const std::string& address, std::uint16_t port)
    : m_desk(std::make_shared<Desk>()) {
    ServerOptions options;
    options.address = address;
    options.port = port;
    m_server = std::make_unique<TlsLoopbackServer>(
        [desk = m_desk](const RecordedRequest& request) { return desk->Answer(request); }, tls,
        std::move(options));
}

FakeTokenService::~FakeTokenService() = default;

void FakeTokenService::SetTokens(const std::string& service, std::vector<std::string> tokens) {
    m_desk->papers().Update([&](Desk::Papers& papers) {
        papers.tokens[service].assign(std::make_move_iterator(tokens.begin()),
                                      std::make_move_iterator(tokens.end()));
    });
}

void FakeTokenService::AnswerWith(LoopbackServer::Handler handler) {
    m_desk->papers().Update([&handler](Desk::Papers& papers) { papers.instead = std::move(handler); });
}

void FakeTokenService::AnswerWith(const Reply& reply) {
    AnswerWith([reply](const RecordedRequest&) { return reply; });
}

void FakeTokenService::AnswerNormally() {
    AnswerWith(LoopbackServer::Handler());
}

std::vector<FakeTokenService::Exchange> FakeTokenService::exchanges() const {
    return m_desk->papers().Look([](const Desk::Papers& papers) { return papers.exchanges; });
}

std::size_t FakeTokenService::exchangesFor(const std::string& service) const {
    const std::vector<Exchange> all = exchanges();
    return static_cast<std::size_t>(
        std::count_if(all.begin(), all.end(),
                      [&service](const Exchange& exchange) { return exchange.service == service; }));
}

bool FakeTokenService::WaitForExchanges(std::size_t count, std::chrono::milliseconds timeout) const {
    return m_desk->papers().WaitUntil(
        timeout, [count](const Desk::Papers& papers) { return papers.exchanges.size() >= count; });
}

const TlsLoopbackServer& FakeTokenService::server() const {
    return *m_server;
}

TlsLoopbackServer& FakeTokenService::server() {
    return *m_server;
}

} // namespace httpclient::testing
