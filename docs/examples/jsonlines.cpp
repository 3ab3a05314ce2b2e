// SPDX-License-Identifier: Apache-2.0
// Writes one JSON line for each call: jsonlines ORIGIN
#include <chrono>
#include <iostream>
#include <memory>
#include <mutex>
#include <string>

#include <json/value.h>
#include <json/writer.h>

#include <httpclient/Client.h>
#include <httpclient/Engine.h>

namespace {

using namespace httpclient;

// [lines]
class JsonLines final : public Observer {
    void OnEvent(Event event, CallView& call) override {
        if (event != Event::End) {
            return;
        }
        Json::Value line;
        line["method"] = ToString(call.method());
        line["origin"] = call.origin();
        line["path"] = std::string(call.target());
        line["route"] = call.label();
        line["attempts"] = call.attempt();
        line["milliseconds"] = std::chrono::duration<double, std::milli>(call.timings().total()).count();
        if (call.failure() != nullptr) {
            line["failure"] = ToString(call.failure()->kind());
            line["phase"] = ToString(call.failure()->phase());
        } else {
            line["status"] = call.status();
        }
        const std::string text = Json::writeString(m_format, line);
        const std::lock_guard<std::mutex> lock(m_lock); // calls end on several threads
        std::cout << text << std::endl;
    }

    const Json::StreamWriterBuilder m_format = [] {
        Json::StreamWriterBuilder format;
        format["indentation"] = ""; // one line
        return format;
    }();
    std::mutex m_lock;
};
// [end]

} // namespace

int main(int argc, char** argv) {
    Engine::Configure(EngineOptions().observer(std::make_shared<JsonLines>()));
    const Client client{ClientOptions(argc > 1 ? argv[1] : "http://127.0.0.1:8080")};
    const Result result = client.Send(Request(Method::Get, "/orders/4711?secret").label("/orders/{id}"));
    return result ? 0 : 1;
}
