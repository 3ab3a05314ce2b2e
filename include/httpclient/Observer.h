// SPDX-License-Identifier: Apache-2.0
/// @file
/// What sees the calls of an engine from beginning to end: tracing, logs of the host's own.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include <httpclient/Export.h>
#include <httpclient/Request.h>
#include <httpclient/Result.h>
#include <httpclient/Timings.h>

namespace httpclient {

/// What an Observer is told of. There may be more in later versions.
enum class Event {
    Start,   ///< a call begins; nothing of it was checked or sent
    Attempt, ///< an attempt is over, whether or not another follows
    End      ///< the call has its outcome, of which the host does not know yet
};

/// One call, as an Observer sees it. Valid until OnEvent() returns; what is referred to, too.
class HTTPCLIENT_EXPORT CallView {
public:
    CallView(const CallView&) = delete;
    CallView& operator=(const CallView&) = delete;

    Method method() const noexcept;             ///< @return the request's method.
    const std::string& origin() const noexcept; ///< @return "https://host:port", as statistics name it.
    /// @return the path, without the query; "(no path)" where the target is none, and will be refused.
    std::string_view target() const noexcept;
    const std::string& label() const noexcept; ///< @return Request::label().
    /// @return the number of the latest attempt, from 1; 0 where there was none.
    int attempt() const noexcept;
    /// @return the status of the attempt (Attempt) or of the call (End); 0 where there is no response.
    int status() const noexcept;
    /// @return why there is no response: to the attempt (Attempt), to the call (End); null where there is one, and at
    ///         Start.
    const Failure* failure() const noexcept;
    /// @return the times of the call so far.
    const Timings& timings() const noexcept;

    /// Adds a header field to the request, as Request::header() does; every attempt sends it. At Start only.
    /// @throw std::logic_error at any other time. @throw std::bad_alloc
    void addHeader(std::string name, std::string value);
    /// Keeps something of the observer's with the call, until the call is over.
    void setContext(std::shared_ptr<void> context) noexcept;
    const std::shared_ptr<void>& context() const noexcept; ///< @return what was set.

    /// @cond INTERNAL
    class Body;
    [[gnu::visibility("hidden")]] explicit CallView(Body& body) noexcept;
    /// @endcond

private:
    Body& m_body;
};

/// Sees every call of an engine (EngineOptions::observer()).
///
/// For each call: Start once, Attempt after each attempt, End once, before the host gets the outcome. A call that
/// Client::Start() or Client::SendAsync() did not accept (they threw) has no End. A call whose thread is cancelled or
/// ended (pthread_cancel(), pthread_exit()) has none either; its context is released.
///
/// Start runs on the thread that makes the call. Attempt and End run there for Client::Send(), and on an event loop
/// for the others: what takes long there keeps other calls waiting. A thread is not cancelled amid them.
///
/// @par Thread Safety
/// OnEvent() is called by several threads at once; for one call by one at a time.
class HTTPCLIENT_EXPORT Observer {
public:
    Observer() = default;
    Observer(const Observer&) = delete;
    Observer& operator=(const Observer&) = delete;
    virtual ~Observer();

    /// What it throws is swallowed, and counted as httpclient_host_errors_total{where="observer"}.
    /// @param event what happened. @param call to whom.
    virtual void OnEvent(Event event, CallView& call) = 0;
};

} // namespace httpclient
