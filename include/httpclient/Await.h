// SPDX-License-Identifier: Apache-2.0
/// @file
/// Calls in coroutines, for hosts that are built as C++20: `Result result = co_await Await(client, request);`
#pragma once

#include <httpclient/Client.h>

#if defined(__cpp_impl_coroutine)

#include <coroutine>
#include <optional>
#include <utility>

namespace httpclient {

/// Sends a request when it is awaited, as Client::Start() does; what is awaited is the Result.
///
/// The coroutine goes on where callbacks run: on one of the engine's callback threads, or where its executor has it.
/// It may do there what a callback may. What it throws out of that thread (a promise whose unhandled_exception() throws)
/// is swallowed.
///
/// @par Ownership
/// The client and the request are kept until the coroutine goes on, which may destroy its client by then. A coroutine
/// that waits must not be destroyed: let its call end first.
///
/// @throw std::bad_alloc, std::system_error: out of the co_await, and nothing was sent.
class [[nodiscard]] Await {
public:
    Await(Client client, Request request) : m_client(std::move(client)), m_request(std::move(request)) {}
    Await(const Await&) = delete;
    Await& operator=(const Await&) = delete;

    /// @cond INTERNAL
    bool await_ready() const noexcept { return false; }
    void await_suspend(std::coroutine_handle<> waiting) {
        // On the stack, for the coroutine may have gone on, and be gone, before Start() returns.
        const Client client = std::move(m_client);
        client.Start(std::move(m_request), [this, waiting](Result result) {
            m_result.emplace(std::move(result));
            waiting.resume();
        });
    }
    Result await_resume() { return std::move(*m_result); }
    /// @endcond

private:
    Client m_client;
    Request m_request;
    std::optional<Result> m_result;
};

} // namespace httpclient

#endif
