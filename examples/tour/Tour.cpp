// SPDX-License-Identifier: Apache-2.0
#include "tour/Tour.h"

#include <algorithm>
#include <utility>

#include <fmt/format.h>

#include <httpclient/HttpClient.h>
#include <httpclient/HttpClientWrap.h>
#include <httpclient/HttpRequest.h>
#include <httpclient/HttpResponse.h>

namespace tour {
namespace {

// In seconds; nothing takes so long, but on a very busy machine.
constexpr unsigned int CONNECT_TIMEOUT = 20;
constexpr unsigned int REQUEST_TIMEOUT = 20;

std::string Describe(const CHttpRequest& request) {
    std::string text = NameOf(request.getVerb()) + " " + request.getUrlPath();
    for (const auto& [name, values] : request.getRequestParams()) {
        for (const std::string& value : values) {
            text += fmt::format("  parameter {}={}", name, value);
        }
    }
    for (const auto& [name, value] : request.getRequestHead()) {
        text += fmt::format("  header {}: {}", name, value);
    }
    if (!request.getCustomCookieParam().empty()) {
        text += "  cookie " + request.getCustomCookieParam();
    }
    if (!request.getContent().empty()) {
        text += "  body " + request.getContent();
    }
    return text;
}

std::string Describe(const Exchange& exchange) {
    if (exchange.status < 0) {
        return fmt::format("{}: no answer", exchange.status);
    }
    return fmt::format("{}  {:.0f} bytes  {}", exchange.status, exchange.length, exchange.type);
}

std::string Describe(const httpclient::Result& result) {
    if (!result) {
        return result.failure().message();
    }
    return fmt::format("{}  {} bytes", result->status(), result->body().size());
}

} // namespace

std::string Called::FailureKind() const {
    return result ? "none" : ToString(result.failure().kind());
}

Tour::Tour(Transcript& transcript, TraceLog& log, std::string directory)
    : m_transcript(transcript), m_log(log), m_directory(std::move(directory)) {
    Serve("");
}

void Tour::UseTls(const std::string& tlsDirectory) {
    m_tls = true;
    Serve(tlsDirectory);
}

void Tour::Serve(const std::string& tlsDirectory) {
    m_relay.reset(); // before the old server goes
    demo::Place place;
    place.tlsDirectory = tlsDirectory;
    m_server = std::make_unique<demo::DemoServer>(place, m_tokens);
    m_relay = std::make_unique<demo::RecordingRelay>(m_server->Port());
}

std::unique_ptr<CHttpClient> Tour::NewClient() const {
    return HttpClientWrap::MakeClientPtr("127.0.0.1", CONNECT_TIMEOUT, REQUEST_TIMEOUT, Port(), m_tls);
}

Exchange Tour::Transfer(CHttpClient& client, const CHttpRequest& request, CHttpResponse& response) {
    m_relay->Take(); // what an earlier request may have left
    m_log.Take();
    Exchange exchange;
    exchange.status = client.synSendRequest(request, response, m_tls);
    auto traffic = m_relay->Take();
    exchange.sent = std::move(traffic.sent);
    exchange.received = std::move(traffic.received);
    exchange.head = response.getResponseHead();
    exchange.body = response.getResponseBody();
    exchange.type = response.getContentType();
    exchange.charset = response.getCharset();
    exchange.length = response.getContentLen();
    exchange.log = m_log.Take();
    return exchange;
}

void Tour::ShowWire(char mark, const std::string& bytes) {
    m_transcript.Wire(mark, m_tls ? fmt::format("({} bytes of TLS)", bytes.size()) : bytes);
}

Exchange Tour::Send(CHttpClient& client, const CHttpRequest& request, CHttpResponse& response) {
    m_transcript.Asked(Describe(request));
    Exchange exchange = Transfer(client, request, response);
    ShowWire('>', exchange.sent);
    ShowWire('<', exchange.received);
    for (const std::string& line : exchange.log) {
        m_transcript.Logged(line);
    }
    m_transcript.Result(Describe(exchange));
    return exchange;
}

Exchange Tour::Send(CHttpClient& client, const CHttpRequest& request) {
    CHttpResponse response;
    return Send(client, request, response);
}

Exchange Tour::SendUnseen(CHttpClient& client, const CHttpRequest& request) {
    CHttpResponse response;
    return Transfer(client, request, response);
}

std::string Tour::Origin() const {
    return fmt::format("{}://127.0.0.1:{}", m_tls ? "https" : "http", Port());
}

Called Tour::Call(const httpclient::Client& client, const httpclient::Request& request,
                  const std::string& asked) {
    m_transcript.Asked(asked);
    m_relay->Take(); // what an earlier request may have left
    m_log.Take();
    httpclient::Result result = client.Send(request);
    auto traffic = m_relay->Take();
    ShowWire('>', traffic.sent);
    ShowWire('<', traffic.received);
    ShowLog();
    m_transcript.Result(Describe(result));
    return {std::move(result), std::move(traffic.sent), std::move(traffic.received)};
}

std::vector<std::string> Tour::ShowLog() {
    const std::vector<std::string> lines = m_log.Take();
    for (const std::string& line : lines) {
        m_transcript.Logged(line);
    }
    return lines;
}

void Tour::ExpectLogged(const std::string& line, const std::vector<std::string>& log) {
    if (m_log.IsThere()) {
        Expect("it is logged: " + line, std::find(log.begin(), log.end(), line) != log.end());
    } else {
        Note("(this platform's log is elsewhere)");
    }
}

void Tour::ExpectText(const std::string& what, const std::string& promised, const std::string& found) {
    Expect(what, promised == found);
    if (promised != found) {
        Note("promised " + Visible(promised));
        Note("found    " + Visible(found));
    }
}

void Tour::ExpectNumber(const std::string& what, double promised, double found) {
    ExpectText(what, fmt::format("{}", promised), fmt::format("{}", found));
}

std::unique_ptr<CHttpRequest> NewRequest(HTTPOPERATIONTYPE verb, const std::string& path) {
    auto request = std::make_unique<CHttpRequest>();
    request->setVerb(verb);
    request->setUrlPath(path);
    return request;
}

std::string NameOf(HTTPOPERATIONTYPE verb) {
    switch (verb) {
    case HTTPOPERATION_GET:
        return "GET";
    case HTTPOPERATION_PUT:
        return "PUT";
    case HTTPOPERATION_POST:
        return "POST";
    case HTTPOPERATION_DELETE:
        return "DELETE";
    case HTTPOPERATION_HEAD:
        return "HEAD";
    case HTTPOPERATION_NOT_SET:
        break;
    }
    return "(no verb)";
}

std::string FirstLine(const std::string& bytes) {
    return bytes.substr(0, bytes.find("\r\n"));
}

std::string BodyOf(const std::string& bytes) {
    const size_t end = bytes.find("\r\n\r\n");
    return end == std::string::npos ? "" : bytes.substr(end + 4);
}

bool HasLine(const std::string& bytes, const std::string& line) {
    const size_t end = bytes.find("\r\n\r\n");
    const std::string head = bytes.substr(0, end == std::string::npos ? end : end + 2);
    return head.find("\r\n" + line + "\r\n") != std::string::npos;
}

} // namespace tour
