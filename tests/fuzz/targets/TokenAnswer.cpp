// SPDX-License-Identifier: Apache-2.0
// What the token service answers, read by either road. The first road's send is held: any status and any body come back
// at once.
#include <algorithm>
#include <cstring>

#include <dlfcn.h>

#include <httpclient/HttpClient.h>
#include <httpclient/HttpResponse.h>

#include "../Input.h"
#include "../Require.h"
#include "../Surroundings.h"
#include "../Target.h"
#include "Identity.h"
#include "engine/identity/TokenRequest.h"

namespace {

struct TokenAnswer {
    int status = -1;
    std::string body;
};
const TokenAnswer* g_answer = nullptr; // while a token is asked for

using SynSend = int (*)(CHttpClient*, const CHttpRequest&, CHttpResponse&, bool);

SynSend RealSynSend() {
    void* const symbol =
        dlsym(RTLD_NEXT, "_ZN11CHttpClient14synSendRequestERK12CHttpRequestR13CHttpResponseb");
    Require(symbol != nullptr, "the library has its send");
    return reinterpret_cast<SynSend>(symbol);
}

void RequireOutcome(int result, const SiaToken& token, const TokenAnswer& answer) {
    const std::vector<std::string> log = Logged();
    Require(log.size() == 1, "one message tells the outcome");
    if (result == 0) {
        Require(answer.status == 200, "only an answer of 200 holds a token");
        // The whole text is compared, so that nothing of the token can be in it.
        Require(log[0] == "[3] request sia token successfully. token length: " +
                              std::to_string(token.token.size()) +
                              ", expire_at: " + std::to_string(static_cast<int>(token.expire_at)),
                "the message tells length and time alone");
        return;
    }
    Require(result == -1 &&
                (log[0] == "[5] request sia token failed. status: " + std::to_string(answer.status) ||
                 log[0] == "[5] request sia token catch an exception."),
            "a failure has its message");
    Require(token.token == "former" && token.expire_at == 1, "a failure leaves the record alone");
}

bool IsBlank(char c) {
    return c == ' ' || c == '\t';
}

/// @return whether a header line can carry a text as its value: RFC 9110, 5.5, written out.
bool FitsHeaderLine(const std::string& text) {
    const bool printable = std::all_of(text.begin(), text.end(), [](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return IsBlank(c) || (byte > 0x20 && byte != 0x7f);
    });
    return printable && !text.empty() && !IsBlank(text.front()) && !IsBlank(text.back());
}

/// The engine has the first road's token where a request can carry it, and no other.
/// @param result of the first road, with its token.
void RequireSameOfEngine(int result, const std::string& token, const TokenAnswer& answer) {
    StartLog();
    const httpclient::engine::TokenOutcome outcome =
        httpclient::engine::ReadTokenAnswer(answer.status, answer.body);
    Require(Logged().size() == 1, "one message of the engine tells the outcome");
    if (result == 0 && FitsHeaderLine(token)) {
        Require(outcome.token == token, "the engine has the token that the first road has");
        return;
    }
    Require(outcome.token.empty(), "the engine takes no other token");
    Require(outcome.refusal.cause == httpclient::FailureKind::Identity &&
                outcome.refusal.status == (answer.status == 200 ? 0 : answer.status),
            "the engine says why it has none");
}

} // namespace

// Stands before the library's own.
int CHttpClient::synSendRequest(const CHttpRequest& request, CHttpResponse& response, bool bSSL) {
    if (g_answer == nullptr) {
        static const SynSend real = RealSynSend();
        return real(this, request, response, bSSL);
    }
    response.setStatusCode(g_answer->status);
    response.setResponseBody(g_answer->body);
    return g_answer->status;
}

void FuzzTokenAnswer(std::string_view input) {
    Surroundings::Instance();
    Input fields(input);
    const unsigned int first = fields.Byte();
    const TokenAnswer answer{first < 224 ? 200 : static_cast<int>(first) * 2, fields.Rest()};

    const Identity identity = MakeIdentity();
    identity->m_strJwt = "credential";
    SiaToken token;
    token.token = "former";
    token.expire_at = 1;
    StartLog();
    g_answer = &answer;
    const int result = identity->RequestSiaToken("service", token);
    g_answer = nullptr;
    RequireOutcome(result, token, answer);
    RequireSameOfEngine(result, token.token, answer);
}
