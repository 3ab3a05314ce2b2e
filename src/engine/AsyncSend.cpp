// SPDX-License-Identifier: Apache-2.0
// How an asynchronous call begins: Client::Start() and Client::SendAsync().
#include <memory>
#include <utility>

#include <cxxabi.h>

#include <httpclient/Client.h>

#include "engine/Apart.h"
#include "engine/AsyncCall.h"
#include "engine/ClientBody.h"
#include "engine/Outcome.h"

namespace httpclient {

using engine::AsyncCall;

namespace {

/// Keeps a promise. The loop does it, so that two callbacks that wait for futures do not keep each other waiting.
class Promised final : public Completion {
public:
    void Complete(Result result) override { m_promise.set_value(std::move(result)); }
    std::future<Result> Future() { return m_promise.get_future(); }

private:
    std::promise<Result> m_promise;
};

} // namespace

Completion::~Completion() = default;
Call::Body::~Body() = default;
Call::Call(std::shared_ptr<Body> body) noexcept : m_body(std::move(body)) {}
Call::Call(const Call& other) = default;
Call::Call(Call&& other) noexcept = default;
Call& Call::operator=(const Call& other) = default;
Call& Call::operator=(Call&& other) noexcept = default;
Call::~Call() = default;

void Call::Cancel() noexcept {
    if (m_body) {
        m_body->Cancel();
    }
}

namespace {

/// What the host's function throws stays with it.
__attribute__((no_sanitize("null"))) void CompleteBy(Completion& done, Result outcome) {
    try {
        done.Complete(std::move(outcome));
    } catch (abi::__forced_unwind&) {
        throw; // the host ends its thread
    } catch (...) {
        return;
    }
}

/// A client that was moved from has no engine: a thread of its own hands the outcome over.
Call StartWithoutClient(std::unique_ptr<Completion> done, bool onLoop) {
    Result outcome = Refused("the client was moved from");
    if (onLoop) {
        done->Complete(std::move(outcome));
        return Call(nullptr);
    }
    engine::RunApart([done = std::move(done), outcome = std::move(outcome)]() mutable {
        CompleteBy(*done, std::move(outcome));
    });
    return Call(nullptr);
}

} // namespace

Call Client::StartWith(Request request, std::unique_ptr<Completion> done, bool onLoop) const {
    if (!m_body) {
        return StartWithoutClient(std::move(done), onLoop);
    }
    for (;;) {
        engine::Core& core = m_body->engine->core();
        const auto call = std::make_shared<AsyncCall>(
            m_body, core, onLoop ? AsyncCall::DeliverOn::Loop : AsyncCall::DeliverOn::Callbacks);
        if (call->entered()) {
            call->Start(std::move(request), std::move(done));
            return Call(call);
        }
        if (!core.retired()) {
            call->Refuse(std::move(request), std::move(done));
            return Call(call);
        }
        // The engine began another life just now.
    }
}

std::future<Result> Client::SendAsync(Request request) const {
    auto promised = std::make_unique<Promised>();
    std::future<Result> future = promised->Future();
    StartWith(std::move(request), std::move(promised), true);
    return future;
}

} // namespace httpclient
