// SPDX-License-Identifier: Apache-2.0
#include "engine/identity/TokenRequest.h"

#include <ctime>
#include <optional>
#include <stdexcept>
#include <utility>

#include "engine/BlockingDriver.h"
#include "engine/Outcome.h"
#include "engine/identity/Configured.h"
#include "http1/RequestHead.h"
#include "identity/MaintenanceAddress.h"
#include "identity/TokenTexts.h"
#include "support/Cancellation.h"
#include "support/Cleansing.h"
#include "support/Trace.h"

namespace httpclient::engine {

namespace {

constexpr std::uint64_t LONGEST_ANSWER = 1024UL * 1024;
constexpr std::size_t EXCHANGE_SCRATCH = 16UL * 1024;

TokenRefusal RefusedBecause(const char* what) {
    TokenRefusal refusal;
    refusal.what = what;
    return refusal;
}

std::string OriginOfTokenService() {
    std::string host = MaintenanceAddress();
    if (host.find(':') != std::string::npos && host.front() != '[') {
        host = '[' + host + ']'; // a bare IPv6 address
    }
    return "https://" + host + ':' + std::to_string(MAINTENANCE_PORT);
}

/// By the platform's TLS files. The authority is verified and the name is not, as on the first road: the service is
/// known by its address, for which its certificate need not have been made.
ClientOptions::Body OptionsOfExchange() {
    ClientOptions::Body options;
    options.origin = OriginOfTokenService();
    options.tls.verifyHost(false);
    options.timeout = EXCHANGE_TIMEOUT;
    options.connectTimeout = EXCHANGE_CONNECT_TIMEOUT;
    options.maxBody = LONGEST_ANSWER;
    return options;
}

/// @return how the exchange's call ended.
TokenOutcome ReadResult(Result result) {
    if (!result) {
        const Failure& failure = result.failure();
        TokenOutcome outcome = ReadTokenAnswer(-1, std::string()); // logs it as the first road does
        outcome.refusal = TokenRefusal{failure.kind(), failure.code(), 0, nullptr};
        return outcome;
    }
    std::string& body = result->internals().content;
    const Cleansing cleansing(body);
    return ReadTokenAnswer(result->status(), body);
}

} // namespace

std::string TokenRefusal::Describe() const {
    if (status > 0) {
        return "the token service answered with status " + std::to_string(status);
    }
    if (what != nullptr) {
        return what;
    }
    std::string text = std::string("the token service could not be asked, ") + ToString(cause);
    return code ? text + ", " + code.message() : text;
}

TokenOutcome ReadTokenAnswer(int status, const std::string& body) {
    TokenOutcome outcome;
    const auto read = [&] {
        std::time_t end = 0; // by the local clock; the engine reckons with the monotonic one
        static_cast<void>(ReadExchangeAnswer(status, body, outcome.token, end));
    };
    if (!Contained<std::bad_alloc>(read)) {
        Trace<LogMessage::TokenAnswerNotRead>();
    }
    if (outcome.token.empty() || !http1::IsFieldValue(outcome.token)) {
        Cleanse(outcome.token);
        outcome.token.clear();
        outcome.refusal.status = status != EXCHANGE_STATUS ? status : 0;
        outcome.refusal.what = "the token service gave no usable token";
    }
    return outcome;
}

TokenOutcome AskTokenService(Core& core, const std::string& service) {
    std::string jwt = Credential();
    const Cleansing cleansingJwt(jwt);
    if (jwt.empty()) {
        return {{}, RefusedBecause("there is no credential")};
    }
    Request::Body request(Method::Post, g_strSiaTokenPath);
    request.door.secret = true; // its text is wiped in the end
    request.content = Request::Body::Content::Text;
    request.text = ExchangeContent(service, jwt);
    request.contentType = g_strExchangeType;
    std::optional<ClientCore> client;
    try {
        client.emplace(OptionsOfExchange());
    } catch (const std::invalid_argument&) {
        return {{}, RefusedBecause("the token service has no address")};
    }
    std::string memory(EXCHANGE_SCRATCH, '\0');
    const Cleansing cleansingMemory(memory);
    return ReadResult(RunOwn(core, *client, request, {memory.data(), memory.size()}));
}

} // namespace httpclient::engine
