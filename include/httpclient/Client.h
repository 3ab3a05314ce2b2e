// SPDX-License-Identifier: Apache-2.0
/// @file
/// The client of the second road: calls to one origin over the engine of our own.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <future>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <httpclient/Export.h>
#include <httpclient/Request.h>
#include <httpclient/Response.h>
#include <httpclient/Result.h>

namespace httpclient {

class Engine;

/// What a connection over TLS is made with.
///
/// Default: the platform's material, as its manifest below SSL_ROOT has it: our authorities, certificate and
/// key. The server's chain is always verified, and the version is always TLS 1.2 or later.
///
/// Files are read once per change, not once per connection. They are looked at once a second at most, and a
/// change is noticed within two. A pair that does not parse or does not match leaves the old one in use and is
/// logged.
class HTTPCLIENT_EXPORT TlsOptions {
public:
    TlsOptions();
    TlsOptions(const TlsOptions& other);                ///< Copies.
    TlsOptions(TlsOptions&& other) noexcept;            ///< Moves.
    TlsOptions& operator=(const TlsOptions& other);     ///< Copies.
    TlsOptions& operator=(TlsOptions&& other) noexcept; ///< Moves.
    ~TlsOptions();

    /// Takes the material from PEM files. What is wrong with them shows at the call, as FailureKind::Tls: they
    /// may come later.
    /// @param authorities path of the trusted authorities; empty: the system's.
    /// @param certificate path of our certificate, with its chain; empty: none is presented.
    /// @param key path of its key.
    TlsOptions& files(std::string authorities, std::string certificate = {}, std::string key = {});
    /// Takes the material from PEM texts. What is wrong with them throws std::invalid_argument where the client
    /// is made, that of a plain origin, too.
    /// @param authorities the trusted authorities; empty: the system's.
    /// @param certificate our certificate, with its chain; empty: none is presented.
    /// @param key its key.
    TlsOptions& memory(std::string authorities, std::string certificate = {}, std::string key = {});
    /// Sets the function that is asked for the key's password whenever the key is read. The password is wiped
    /// afterwards. A function that throws counts as wrong material.
    TlsOptions& keyPassword(std::function<std::string()> ask);
    std::function<std::string()> keyPassword() const; ///< @return what was set.
    /// Says whether the name in the certificate is verified. Default true. Only subject alternative names count.
    TlsOptions& verifyHost(bool on);
    bool verifyHost() const; ///< @return what was set.
    /// Sets the name that is expected in the certificate and sent as SNI. Default: the origin's host.
    /// @param name a host name or an address; anything else throws std::invalid_argument where the client is made.
    TlsOptions& serverName(std::string name);
    std::string serverName() const; ///< @return what was set.

    /// @cond INTERNAL
    class Body;
    [[gnu::visibility("hidden")]] const Body& internals() const;
    /// @endcond

private:
    [[gnu::visibility("hidden")]] Body& Own();
    std::unique_ptr<Body> m_body; ///< Null: moved from, and as good as new.
};

/// When a call is sent again. Default: never.
///
/// Sent again is only what is idempotent (Request::idempotent()) or was not sent: after Resolve and Connect,
/// after the Timeout of an attempt and ConnectionLost when they are retryable, and after the statuses named here.
/// Pauses are doubled and fully jittered; a Retry-After of the server is kept to. All of it stays within the
/// call's deadline.
class HTTPCLIENT_EXPORT RetryPolicy {
public:
    RetryPolicy();
    RetryPolicy(const RetryPolicy& other);                ///< Copies.
    RetryPolicy(RetryPolicy&& other) noexcept;            ///< Moves.
    RetryPolicy& operator=(const RetryPolicy& other);     ///< Copies.
    RetryPolicy& operator=(RetryPolicy&& other) noexcept; ///< Moves.
    ~RetryPolicy();

    /// Sets how often a call is tried at most, the first time included; at least 1. Default 1.
    RetryPolicy& attempts(int most);
    int attempts() const; ///< @return what was set.
    /// Sets the pauses: before the second try at most @p first, doubled for each further one, at most
    /// @p longest. Default 50 ms and 2 s.
    RetryPolicy& pauses(std::chrono::milliseconds first, std::chrono::milliseconds longest);
    std::pair<std::chrono::milliseconds, std::chrono::milliseconds> pauses() const; ///< @return what was set.
    /// Sets the share of retries: each call adds so much to the client's budget, each retry takes 1 from it.
    /// It holds 10 at most and is full at the start; 0: no retries. Default 0.2.
    RetryPolicy& budget(double share);
    double budget() const; ///< @return what was set.
    /// Sets the statuses after which a call is sent again. Default 429, 502, 503, 504.
    RetryPolicy& statuses(std::vector<int> codes);
    std::vector<int> statuses() const; ///< @return what was set.

    /// @cond INTERNAL
    class Body;
    [[gnu::visibility("hidden")]] const Body& internals() const;
    /// @endcond

private:
    [[gnu::visibility("hidden")]] Body& Own();
    std::unique_ptr<Body> m_body; ///< Null: moved from, and as good as new.
};

/// As whom a client calls.
enum class Identity {
    None,    ///< As nobody.
    Platform ///< As the process: requests carry the service tokens that its configuration names.
};

/// What a client is made with.
///
/// What is wrong (a bad origin, a time-out of 0 or less) throws std::invalid_argument where the client is made.
class HTTPCLIENT_EXPORT ClientOptions {
public:
    /// @param origin scheme, host and port: "https://host:port", "http://[::1]:8080". Letters of either case
    ///        and a final "/" are accepted; user names, other paths, queries and port 0 are not. Without a port
    ///        it is the scheme's, 80 or 443.
    explicit ClientOptions(std::string origin);
    ClientOptions(const ClientOptions& other);                ///< Copies.
    ClientOptions(ClientOptions&& other) noexcept;            ///< Moves.
    ClientOptions& operator=(const ClientOptions& other);     ///< Copies.
    ClientOptions& operator=(ClientOptions&& other) noexcept; ///< Moves.
    ~ClientOptions();

    /// @return the origin as it was given.
    std::string origin() const;
    /// Sets the time-out of the whole call: waiting for a connection, every attempt and every pause. Kept to
    /// within 50 ms; only host code that is running then is not cut short. Default 30 s.
    ClientOptions& timeout(std::chrono::milliseconds whole);
    std::chrono::milliseconds timeout() const; ///< @return what was set.
    /// Sets the time-out of one attempt, so that a hang leaves time for another. Default: none, read as 0.
    ClientOptions& attemptTimeout(std::chrono::milliseconds each);
    std::chrono::milliseconds attemptTimeout() const; ///< @return what was set.
    /// Sets the time-out of connecting: name, connection and handshake of one attempt. Default 2 s.
    ClientOptions& connectTimeout(std::chrono::milliseconds each);
    std::chrono::milliseconds connectTimeout() const; ///< @return what was set.
    /// Connects to another place than the origin; Host, SNI and the checks of the certificate stay the origin's.
    /// @param place "10.0.0.1:8443", "[::1]:8443", "name:8443" or "unix:/absolute/path"; empty: the origin.
    ClientOptions& connectTo(std::string place);
    std::string connectTo() const; ///< @return what was set.
    /// Sets what connections of an https origin are made with.
    ClientOptions& tls(TlsOptions options);
    TlsOptions tls() const; ///< @return what was set.
    /// Sets when a call is sent again. Default: never.
    ClientOptions& retry(RetryPolicy policy);
    RetryPolicy retry() const; ///< @return what was set.
    /// Sets as whom the client calls. Default Identity::None.
    ///
    /// Identity::Platform: where service identity is switched on, a request whose path belongs to a configured service
    /// carries that service's token in the header "x-access-token", instead of one that the host gave. An engine keeps
    /// a token for twelve hours and renews it an hour before. A call without one waits for it within its own time-out,
    /// in Phase::Token; an exchange takes 30 s at most, whoever waits for it, and its failure is remembered for a
    /// second. A 403 drops the token, and the request is sent once more with another; that attempt is the outcome.
    ///
    /// FailureKind::Identity, and nothing is sent: there is no token to be had, or the origin is plain HTTP and the
    /// place to connect to is not of this host: an address of the loopback, "localhost" that leads to one, or a Unix
    /// socket. The configuration is read once per process, when the first such client is made.
    ClientOptions& identity(Identity who);
    Identity identity() const; ///< @return what was set.
    /// Asks for gzip and deflate, and undoes them. Default false.
    ClientOptions& decompress(bool on);
    bool decompress() const; ///< @return what was set.
    /// Sets how long a kept body may be, in bytes after decoding; TooLarge beyond it. What a sink takes does not
    /// count. Default 64 MiB.
    ClientOptions& maxBody(std::uint64_t bytes);
    std::uint64_t maxBody() const; ///< @return what was set.
    /// Sets how long the head of an answer may be, in bytes; so long may trailers be, too. Default 64 KiB.
    ClientOptions& maxHead(std::size_t bytes);
    std::size_t maxHead() const; ///< @return what was set.
    /// Sets the User-Agent; empty: none is sent. Default "libhttpclient".
    ClientOptions& userAgent(std::string text);
    std::string userAgent() const; ///< @return what was set.

    /// @cond INTERNAL
    class Body;
    [[gnu::visibility("hidden")]] const Body& internals() const;
    [[gnu::visibility("hidden")]] ClientOptions& identityAccess(bool on);
    /// @endcond

private:
    [[gnu::visibility("hidden")]] Body& Own();
    std::unique_ptr<Body> m_body; ///< Null: moved from, and as good as new.
};

/// @cond INTERNAL
/// What is told the outcome of an asynchronous call.
class HTTPCLIENT_EXPORT Completion {
public:
    Completion() = default;
    Completion(const Completion&) = delete;
    Completion& operator=(const Completion&) = delete;
    virtual ~Completion();
    virtual void Complete(Result result) = 0;
};

/// A function of the host's, of whatever type, as such.
template <class Done> class CompletionBy final : public Completion {
public:
    // Objects of this class are neither copied nor moved. NOLINTNEXTLINE(bugprone-forwarding-reference-overload)
    template <class From> explicit CompletionBy(From&& done) : m_done(std::forward<From>(done)) {}
    void Complete(Result result) override { m_done(std::move(result)); }

private:
    Done m_done;
};
/// @endcond

/// A call under way: a cheap handle, which the call does not need to go on.
///
/// @par Thread Safety
/// Every operation may be called from any thread at any time.
class HTTPCLIENT_EXPORT Call {
public:
    Call(const Call& other);                ///< Copies.
    Call(Call&& other) noexcept;            ///< Moves.
    Call& operator=(const Call& other);     ///< Copies.
    Call& operator=(Call&& other) noexcept; ///< Moves.
    ~Call();

    /// Ends the call: its outcome is Cancelled, unless another is already on its way. Does nothing after the end.
    void Cancel() noexcept;

    /// @cond INTERNAL
    class Body;
    explicit Call(std::shared_ptr<Body> body) noexcept;
    /// @endcond

private:
    std::shared_ptr<Body> m_body;
};

/// Sends requests to one origin.
///
/// A cheap handle: copies share one client. It may outlive its engine; its calls end as Shutdown then. A
/// client made without an engine uses the shared one of the moment (Engine::Shared()). Making a client does not
/// make an engine and connects to nothing.
///
/// No proxy is used, no environment variable is asked for one, no cookie is kept and no redirect is followed.
///
/// @par Thread Safety
/// Every operation may be called from any thread at any time.
///
/// @par Performance
/// A call on a kept connection makes four system calls and a handful of allocations. Make one client per origin
/// and keep it: making one parses its options.
class HTTPCLIENT_EXPORT Client {
public:
    /// Makes a client on the shared engine.
    /// @throw std::invalid_argument for a bad origin or option. @throw std::bad_alloc
    explicit Client(ClientOptions options);
    /// Makes a client on an engine of the host's own.
    /// @param options what it is made with.
    /// @param engine not owned; the client may outlive it.
    /// @throw std::invalid_argument for a bad origin or option. @throw std::bad_alloc
    Client(ClientOptions options, Engine& engine);
    Client(const Client& other);                ///< Copies.
    Client(Client&& other) noexcept;            ///< Moves.
    Client& operator=(const Client& other);     ///< Copies.
    Client& operator=(Client&& other) noexcept; ///< Moves.
    ~Client();

    /// Sends a request on the calling thread and waits for the outcome, at most as long as the time-out.
    ///
    /// Sources, sinks and head functions of the request run on the calling thread.
    ///
    /// @return a response, whatever its status, or the failure. Never throws: exhausted memory is
    ///         FailureKind::Internal.
    Result Send(const Request& request) const;

    /// Sends a request on the engine's event loop and returns at once.
    ///
    /// @param request sent from its own copy, or from the object that was moved here.
    /// @param done called with the Result, exactly once, never inside Start() and never under a lock of the library:
    ///        on one of the engine's callback threads, or by its executor. It may block, send, cancel, destroy the
    ///        client and shut the engine down; what it throws is swallowed. It may be movable only.
    /// @return a handle, to cancel the call with.
    /// @throw std::bad_alloc, std::system_error: the call was not accepted, and @p done is not called.
    // NOLINTNEXTLINE(performance-unnecessary-value-param): it is moved on
    template <class Done> Call Start(Request request, Done&& done) const {
        return StartWith(std::move(request),
                         std::make_unique<CompletionBy<std::decay_t<Done>>>(std::forward<Done>(done)), false);
    }

    /// As Start(), with a future, which the loop fulfils: it does not wait for callbacks.
    std::future<Result> SendAsync(Request request) const;

    /// @cond INTERNAL
    class Body;
    /// @endcond

private:
    Call StartWith(Request request, std::unique_ptr<Completion> done, bool onLoop) const;

    std::shared_ptr<Body> m_body;
};

} // namespace httpclient
