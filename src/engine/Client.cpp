// SPDX-License-Identifier: Apache-2.0
#include <utility>

#include <cxxabi.h>

#include <httpclient/Client.h>

#include "engine/BlockingDriver.h"
#include "engine/ClientBody.h"
#include "engine/Outcome.h"
#include "support/Trace.h"

namespace httpclient {

Client::Client(ClientOptions options) : m_body(std::make_shared<Body>(options, Engine::Body::Shared())) {}
Client::Client(ClientOptions options, Engine& engine)
    : m_body(std::make_shared<Body>(options, engine.m_body)) {}
Client::Client(const Client& other) = default;
Client::Client(Client&& other) noexcept = default;
Client& Client::operator=(const Client& other) = default;
Client& Client::operator=(Client&& other) noexcept = default;
Client::~Client() = default;

Result Client::Send(const Request& request) const {
    try {
        const std::shared_ptr<Body> body =
            m_body; // code of the host that the call runs may destroy this object
        return engine::RunBlocking(body->engine->core(), body->client, *request.internals());
    } catch (abi::__forced_unwind&) {
        throw; // the thread is cancelled
    } catch (...) {
        Trace(TraceLevel::Error,
              "HTTP call failed: Internal in Prepare: out of memory, descriptors or threads");
        return OutOfMemory();
    }
}

} // namespace httpclient
