// SPDX-License-Identifier: Apache-2.0
// How an asynchronous call begins: Client::Start() and Client::SendAsync().
#include <memory>
#include <utility>

#include <httpclient/Client.h>

#include "engine/AsyncCall.h"
#include "engine/ClientBody.h"

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

Call Client::StartWith(Request request, std::unique_ptr<Completion> done, bool onLoop) const {
    engine::Core& core = m_body->engine->core();
    const auto call =
        std::make_shared<AsyncCall>(m_body, core, std::move(request), std::move(done),
                                    onLoop ? AsyncCall::DeliverOn::Loop : AsyncCall::DeliverOn::Callbacks);
    if (!call->Start()) {
        call->RefuseByShutdown();
    }
    return Call(call);
}

std::future<Result> Client::SendAsync(Request request) const {
    auto promised = std::make_unique<Promised>();
    std::future<Result> future = promised->Future();
    StartWith(std::move(request), std::move(promised), true);
    return future;
}

} // namespace httpclient
