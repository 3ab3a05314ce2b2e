// SPDX-License-Identifier: Apache-2.0
#include <new>
#include <utility>

#include <cxxabi.h>

#include <httpclient/Client.h>

#include "engine/BlockingDriver.h"
#include "engine/ClientBody.h"
#include "engine/Outcome.h"
#include "support/Cancellation.h"
#include "support/Trace.h"

namespace httpclient {

// Options are taken by value, as the interface has it. NOLINTBEGIN(performance-unnecessary-value-param)
Client::Client(ClientOptions options) : m_body(std::make_shared<Body>(options, Engine::Body::Shared())) {}
Client::Client(ClientOptions options, Engine& engine)
    : m_body(std::make_shared<Body>(options, engine.m_body)) {}
// NOLINTEND(performance-unnecessary-value-param)
Client::Client(const Client& other) = default;
Client::Client(Client&& other) noexcept = default;
Client& Client::operator=(const Client& other) = default;
Client& Client::operator=(Client&& other) noexcept = default;
Client::~Client() = default;

namespace {

/// What a request that was moved from asks for: nothing, which the call refuses.
const Request::Body& Nothing() {
    static const Request::Body& nothing = *new Request::Body(Method::Get, std::string());
    return nothing;
}

Result Run(Client::Body& client, const Request::Body& request) {
    for (;;) {
        engine::Core& core = client.engine->core();
        const engine::Core::Visit visit(core);
        if (visit.entered() || !core.retired()) {
            return engine::RunBlocking(core, visit.entered(), client.client, request);
        }
        // The engine began another life just now.
    }
}

/// To be called where an exception has been caught. @return the outcome of a call that could not even begin.
Result NotBegun() noexcept {
    const std::error_code code = CodeOfCaught();
    try {
        if (code != std::errc::not_enough_memory) {
            return Prevented(code);
        }
    } catch (const std::bad_alloc&) {
        // no memory either
    }
    Trace<LogMessage::CallWithoutMemory>();
    return OutOfMemory(Phase::Prepare, false);
}

} // namespace

// What cancels a thread is caught by reference, and has no object. The sanitizer takes that for a mistake.
__attribute__((no_sanitize("null"))) Result Client::Send(const Request& request) const {
    const BlockWithinHandler block;
    try {
        // Code of the host that the call runs may destroy this object.
        const std::shared_ptr<Body> body = m_body;
        if (!body) {
            return Refused("the client was moved from");
        }
        return Run(*body, request.internals() != nullptr ? *request.internals() : Nothing());
    } catch (abi::__forced_unwind&) {
        throw; // the thread is cancelled
    } catch (...) {
        return NotBegun();
    }
}

} // namespace httpclient
