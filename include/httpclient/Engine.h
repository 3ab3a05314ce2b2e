// SPDX-License-Identifier: Apache-2.0
/// @file
/// The engine of the second road: what the calls of all its clients share.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include <httpclient/Export.h>
#include <httpclient/Observer.h>
#include <httpclient/Statistics.h>

namespace httpclient {

/// What an engine is made with. What is wrong throws std::invalid_argument where the engine is made.
class HTTPCLIENT_EXPORT EngineOptions {
public:
    EngineOptions();
    EngineOptions(const EngineOptions& other);                ///< Copies.
    EngineOptions(EngineOptions&& other) noexcept;            ///< Moves.
    EngineOptions& operator=(const EngineOptions& other);     ///< Copies.
    EngineOptions& operator=(EngineOptions&& other) noexcept; ///< Moves.
    ~EngineOptions();

    /// Sets how many event loops there are, one thread each. Default 1; at least 1.
    EngineOptions& loops(unsigned threads);
    unsigned loops() const; ///< @return what was set.
    /// Sets how many threads run what the host gave asynchronous calls: callbacks, sources, sinks, head functions.
    /// Default 2; at least 1 without an executor.
    EngineOptions& callbackThreads(unsigned threads);
    unsigned callbackThreads() const; ///< @return what was set.
    /// Sets what runs those instead of the callback threads. It may run them inline; when it throws, the loop runs
    /// them itself.
    EngineOptions& executor(std::function<void(std::function<void()>)> run);
    std::function<void(std::function<void()>)> executor() const; ///< @return what was set.
    /// Sets how many connections there may be. Beyond the second limit the idle ones of other origins go first.
    /// Default 100 per origin, 10,000 in all; at least 1 each.
    EngineOptions& maxConnections(std::size_t perOrigin, std::size_t inAll);
    std::pair<std::size_t, std::size_t> maxConnections() const; ///< @return what was set.
    /// Sets how many calls may wait for a connection to one origin; one more is Overloaded at once. Default 10,000.
    EngineOptions& maxWaiting(std::size_t perOrigin);
    std::size_t maxWaiting() const; ///< @return what was set.
    /// Sets how long a connection is kept idle. Default 30 s.
    EngineOptions& idleTimeout(std::chrono::milliseconds most);
    std::chrono::milliseconds idleTimeout() const; ///< @return what was set.
    /// Sets how old a kept connection may become; each has up to 10 % less, by chance, so that those made
    /// together do not go together. Default 10 min.
    EngineOptions& maxAge(std::chrono::milliseconds most);
    std::chrono::milliseconds maxAge() const; ///< @return what was set.
    /// Sets how long an address is used before its name is looked up anew. The old one is used on while a new
    /// one cannot be had. Default 30 s.
    EngineOptions& nameLifetime(std::chrono::milliseconds most);
    std::chrono::milliseconds nameLifetime() const; ///< @return what was set.
    /// Sets what sees every call of the engine. Default: nothing.
    /// @param sees shared with the engine, which keeps it as long as a client may call.
    EngineOptions& observer(std::shared_ptr<Observer> sees);
    std::shared_ptr<Observer> observer() const; ///< @return what was set.

    /// @cond INTERNAL
    class Body;
    [[gnu::visibility("hidden")]] const Body& internals() const;
    /// @endcond

private:
    [[gnu::visibility("hidden")]] Body& Own();
    std::unique_ptr<Body> m_body; ///< Null: moved from, and as good as new.
};

/// Connections, names and TLS material that clients share. One for the process (Shared()) unless a host makes
/// another.
///
/// Nothing runs before the first use: a thread that closes idle connections and watches files begins with the
/// first kept connection, threads that look names up with the first name, event loops with the first asynchronous
/// call. A process may end at any moment without Shutdown(). A forked child starts with an engine of its own under the same options and leaves
/// everything of its parent's alone.
///
/// @par Thread Safety
/// Every operation may be called from any thread at any time, but for the destructor.
class HTTPCLIENT_EXPORT Engine {
public:
    /// @throw std::invalid_argument for a bad option. @throw std::bad_alloc
    explicit Engine(EngineOptions options = {});
    Engine(const Engine&) = delete;
    Engine& operator=(const Engine&) = delete;
    /// Ends calls under way as FailureKind::Shutdown, waits for them, and closes every connection.
    ~Engine();

    /// @return the engine of the process, made on first use. After CHttpConnectionMgr::Finalize() the next use
    ///         makes another, under the same options.
    static Engine& Shared();
    /// Sets the options of the shared engine, before its first use: a call of a client on it, or Shared().
    /// @throw std::logic_error after the first use. @throw std::invalid_argument for a bad option.
    static void Configure(EngineOptions options);

    /// @return what was counted so far: a snapshot, for which no call has to wait. Connections of the pool of
    ///         CHttpClient are among it, those of the whole process. @throw std::bad_alloc
    EngineStatistics statistics() const;
    /// @return the same in the text format of Prometheus, to be served as "text/plain; version=0.0.4".
    ///         docs/operations.md says what each name means. @throw std::bad_alloc
    std::string metricsText() const;

    /// Closes the connections that are idle now.
    void CloseIdleConnections();
    /// Lets no new call begin, waits for those under way, and closes every connection. Final for this engine.
    /// @param grace how long calls may go on; those that are not done then end as FailureKind::Shutdown.
    /// @return false: some were ended so.
    bool Shutdown(std::chrono::milliseconds grace);

    /// @cond INTERNAL
    class Body;
    /// @endcond

private:
    friend class Client;
    explicit Engine(std::shared_ptr<Body> body) noexcept;

    std::shared_ptr<Body> m_body;
};

} // namespace httpclient
