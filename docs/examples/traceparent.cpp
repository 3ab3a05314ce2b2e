// SPDX-License-Identifier: Apache-2.0
// Passes the trace of the request that a thread works for on to the services that it calls (W3C Trace Context):
// traceparent ORIGIN TRACEPARENT
#include <cstdint>
#include <cstdio>
#include <iostream>
#include <memory>
#include <random>
#include <string>

#include <httpclient/Client.h>
#include <httpclient/Engine.h>

namespace {

using namespace httpclient;

// [trace]
thread_local std::string
    currentTrace; // "00-<trace>-<span>-<flags>", of the request that this thread works for

std::string newSpan() { // 16 hexadecimal digits, not all of them 0
    thread_local std::mt19937_64 random{std::random_device{}()};
    char digits[17] = "";
    std::snprintf(digits, sizeof digits, "%016llx", static_cast<unsigned long long>(random() | 1U));
    return digits;
}

class PassesTraceOn final : public Observer {
    void OnEvent(Event event, CallView& call) override {
        constexpr std::size_t SPAN = 36; // where it begins
        constexpr std::size_t DIGITS = 16;
        if (event == Event::Start &&
            currentTrace.size() > SPAN + DIGITS) { // on the thread that makes the call
            call.addHeader("traceparent", std::string(currentTrace).replace(SPAN, DIGITS, newSpan()));
        }
    }
};

void startTracing() { // in main(), before the first call
    Engine::Configure(EngineOptions().observer(std::make_shared<PassesTraceOn>()));
}
// [end]

} // namespace

int main(int argc, char** argv) {
    startTracing();
    const Client client{ClientOptions(argc > 1 ? argv[1] : "http://127.0.0.1:8080")};
    currentTrace = argc > 2 ? argv[2] : "";
    const Result result = client.Send(Request(Method::Get, "/echo"));
    std::cout << (result ? std::to_string(result->status()) : result.failure().message()) << '\n';
    return result ? 0 : 1;
}
