// SPDX-License-Identifier: Apache-2.0
#include "send/Strict.h"

#include <algorithm>
#include <cctype>
#include <iostream>
#include <memory>
#include <stdexcept>

#include <fmt/format.h>

#include <httpclient/Engine.h>

#include "send/Errors.h"
#include "send/Report.h"
#include "send/Trace.h"

namespace sender {
namespace {

constexpr std::size_t CONNECTIONS_IN_ALL = 10'000;

bool SameName(const std::string& one, const std::string& other) {
    return std::equal(one.begin(), one.end(), other.begin(), other.end(),
                      [](unsigned char a, unsigned char b) { return std::tolower(a) == std::tolower(b); });
}

/// "User-Agent:" takes the engine's own away.
bool TakesUserAgentAway(const HeaderLine& header) {
    return header.second.empty() && SameName(header.first, "User-Agent");
}

bool HasHeader(const Options& options, const char* name) {
    const auto& all = options.headerLines;
    return std::any_of(all.begin(), all.end(),
                       [=](const HeaderLine& each) { return SameName(each.first, name); });
}

httpclient::ClientOptions ClientOptionsOf(const Options& options) {
    const Target& target = options.target;
    httpclient::ClientOptions made(fmt::format("{}://{}:{}", target.scheme, target.host, target.port));
    made.connectTimeout(std::chrono::seconds(options.connectTimeout))
        .timeout(std::chrono::seconds(options.requestTimeout))
        .decompress(HasHeader(options, "Accept-Encoding"));
    if (!options.serverName.empty()) {
        made.tls(httpclient::TlsOptions().serverName(options.serverName));
    }
    const auto& headers = options.headerLines;
    if (std::any_of(headers.begin(), headers.end(), &TakesUserAgentAway)) {
        made.userAgent("");
    }
    return made;
}

/// The head as it was received, but for the reason, which says nothing that the status does not.
std::string HeadOf(const httpclient::Response& response) {
    std::string head = fmt::format("HTTP/1.1 {}\r\n", response.status());
    for (std::size_t i = 0; i < response.headerCount(); ++i) {
        const auto [name, value] = response.header(i);
        head.append(name).append(": ").append(value).append("\r\n");
    }
    return head + "\r\n";
}

Outcome OutcomeOf(httpclient::Response&& response) {
    Outcome outcome;
    outcome.status = response.status();
    outcome.timings = response.timings();
    outcome.time = response.timings().total();
    outcome.head = HeadOf(response);
    outcome.type = std::string(response.header("Content-Type").value_or(""));
    outcome.body = std::move(response).body();
    outcome.length = static_cast<double>(outcome.body.size());
    return outcome;
}

Outcome OutcomeOf(const httpclient::Failure& failure) {
    Outcome outcome;
    outcome.timings = failure.timings();
    outcome.time = failure.timings().total();
    outcome.failure = failure.message();
    outcome.refused = failure.kind() == httpclient::FailureKind::InvalidRequest;
    return outcome;
}

httpclient::EngineOptions EngineOptionsOf(const Options& options) {
    httpclient::EngineOptions made;
    if (options.threads > 1) {
        // A connection for each thread, or each call under way, so that none waits for another's.
        made.maxConnections(options.threads, CONNECTIONS_IN_ALL);
    }
    if (options.trace) {
        made.observer(std::make_shared<TracePrinter>(std::cerr));
    }
    return made;
}

} // namespace

httpclient::Request MakeStrictRequest(const Options& options) {
    httpclient::Request request(options.method, options.target.path);
    for (const auto& [name, values] : options.parameters) {
        for (const std::string& value : values) {
            request.parameter(name, value);
        }
    }
    for (const HeaderLine& header : options.headerLines) {
        if (!TakesUserAgentAway(header)) {
            request.header(header.first, header.second);
        }
    }
    if (!options.cookie.empty()) {
        request.header("Cookie", options.cookie);
    }
    if (options.hasBody) {
        request.body(options.body);
    }
    return request;
}

httpclient::Client MakeStrictClient(const Options& options) {
    try {
        httpclient::Engine::Configure(EngineOptionsOf(options));
        return httpclient::Client(ClientOptionsOf(options));
    } catch (const std::invalid_argument& problem) {
        throw UsageError(problem.what());
    }
}

void WriteMetrics(const Options& options, std::ostream& standardOutput) {
    if (!options.metricsFile.empty()) {
        WriteText(httpclient::Engine::Shared().metricsText(),
                  options.metricsFile == "-" ? "" : options.metricsFile, standardOutput);
    }
}

Outcome OutcomeOf(httpclient::Result&& result) {
    return result ? OutcomeOf(*std::move(result)) : OutcomeOf(result.failure());
}

Outcome SendStrictly(const Options& options, const httpclient::Client& client,
                     const httpclient::Request& request) {
    return OutcomeOf(options.async ? client.SendAsync(request).get() : client.Send(request));
}

} // namespace sender
