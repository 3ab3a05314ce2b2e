// SPDX-License-Identifier: Apache-2.0
// The classes that a host holds: defaults, copies, moves, and what happens to who misuses them.
#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <httpclient/Client.h>
#include <httpclient/Engine.h>

#include "engine/Outcome.h"
#include "engine/RequestBody.h"
#include "setting/EngineTest.h"

// What was moved from is used on purpose. NOLINTBEGIN(bugprone-use-after-move,clang-analyzer-cplusplus.Move)

namespace {

template <class T>
constexpr bool IS_VALUE = std::is_copy_constructible_v<T>&& std::is_copy_assignable_v<T>&&
    std::is_nothrow_move_constructible_v<T>&& std::is_nothrow_move_assignable_v<T>;
template <class T>
constexpr bool IS_MOVE_ONLY = !std::is_copy_constructible_v<T> && !std::is_copy_assignable_v<T> &&
                              std::is_nothrow_move_constructible_v<T> && std::is_nothrow_move_assignable_v<T>;
template <class T> constexpr bool IS_ONE_POINTER = sizeof(T) == sizeof(void*);
/// A handle that is shared.
template <class T> constexpr bool IS_SHARED_POINTER = sizeof(T) == sizeof(std::shared_ptr<void>);

static_assert(IS_VALUE<Request> && IS_ONE_POINTER<Request>);
static_assert(IS_VALUE<ClientOptions> && IS_ONE_POINTER<ClientOptions>);
static_assert(IS_VALUE<TlsOptions> && IS_ONE_POINTER<TlsOptions>);
static_assert(IS_VALUE<RetryPolicy> && IS_ONE_POINTER<RetryPolicy>);
static_assert(IS_VALUE<EngineOptions> && IS_ONE_POINTER<EngineOptions>);
static_assert(IS_VALUE<Failure> && IS_ONE_POINTER<Failure>);
static_assert(IS_VALUE<Client> && IS_SHARED_POINTER<Client>);
static_assert(IS_MOVE_ONLY<Response> && IS_ONE_POINTER<Response>);
static_assert(IS_MOVE_ONLY<Result> && IS_ONE_POINTER<Result>);
static_assert(std::is_copy_constructible_v<Timings> && IS_ONE_POINTER<Timings>);
static_assert(!std::is_copy_constructible_v<Engine> && !std::is_move_constructible_v<Engine> &&
              IS_SHARED_POINTER<Engine>);

static_assert(!std::is_convertible_v<std::string, ClientOptions>, "an origin is no client's options");
static_assert(!std::is_convertible_v<ClientOptions, Client>);
static_assert(!std::is_convertible_v<Result, bool>, "a result is not compared by accident");
static_assert(std::is_constructible_v<bool, const Result&>);

// Nothing gives a view into what ends with the expression.
template <class T, class = void> struct GivesViewOfField : std::false_type {};
template <class T>
struct GivesViewOfField<T, std::void_t<decltype(std::declval<T>().header(std::string_view()))>>
    : std::true_type {};
template <class T, class = void> struct GivesFieldByIndex : std::false_type {};
template <class T>
struct GivesFieldByIndex<T, std::void_t<decltype(std::declval<T>().header(std::size_t(0)))>>
    : std::true_type {};
template <class T, class = void> struct GivesViews : std::false_type {};
template <class T>
struct GivesViews<T, std::void_t<decltype(std::declval<T>().headerValues(""))>> : std::true_type {};
template <class T, class = void> struct GivesBody : std::false_type {};
template <class T> struct GivesBody<T, std::void_t<decltype(std::declval<T>().body())>> : std::true_type {};
template <class T, class = void> struct GivesFailure : std::false_type {};
template <class T>
struct GivesFailure<T, std::void_t<decltype(std::declval<T>().failure())>> : std::true_type {};

static_assert(GivesViewOfField<const Response&>::value);
static_assert(GivesViewOfField<Response&>::value);
static_assert(!GivesViewOfField<Response>::value);
static_assert(!GivesViewOfField<const Response>::value);
static_assert(GivesFieldByIndex<const Response&>::value && !GivesFieldByIndex<Response>::value);
static_assert(GivesViews<const Response&>::value && !GivesViews<Response>::value);
static_assert(GivesBody<const Response&>::value && !GivesBody<const Response>::value);
static_assert(std::is_same_v<decltype(std::declval<Response>().body()), std::string>, "the caller's own");
static_assert(std::is_same_v<decltype(std::declval<const Response&>().body()), const std::string&>);
static_assert(GivesFailure<const Result&>::value);
static_assert(!GivesFailure<Result>::value);
static_assert(!GivesFailure<const Result>::value);
static_assert(std::is_same_v<decltype(*std::declval<Result>()), Response>, "the caller's own");
static_assert(std::is_same_v<decltype(*std::declval<Result&>()), Response&>);
static_assert(std::is_same_v<decltype(*std::declval<const Result&>()), const Response&>);

template <class Work> std::string LogicError(Work&& work) {
    try {
        work();
    } catch (const std::logic_error& error) {
        return error.what();
    }
    return "nothing was thrown";
}

Response ResponseOf(int status, const std::string& content) {
    auto body = std::make_unique<Response::Body>();
    body->head.status = status;
    body->content = content;
    return Response(std::move(body));
}

Result ResultOf(Response response) {
    return Result(std::make_unique<Result::Body>(std::move(response)).release());
}

Result ResultOf(Failure failure) {
    return Result(std::make_unique<Result::Body>(std::move(failure)).release());
}

Failure FailureOf(FailureKind kind, const std::string& message) {
    auto body = std::make_unique<Failure::Body>();
    body->kind = kind;
    body->phase = Phase::Body;
    body->message = message;
    body->requestSent = true;
    body->retryable = true;
    body->attempts = 3;
    body->code = std::make_error_code(std::errc::timed_out);
    body->times.Add(Phase::Body, 5ms);
    body->times.total = 7ms;
    return Failure(std::move(body));
}

} // namespace

TEST(ClientOptionsValue, HasItsDefaults) {
    const ClientOptions options("http://host:80/");
    EXPECT_EQ(options.origin(), "http://host:80/") << "as it was given";
    EXPECT_EQ(options.timeout(), 30s);
    EXPECT_EQ(options.attemptTimeout(), 0ms);
    EXPECT_EQ(options.connectTimeout(), 2s);
    EXPECT_EQ(options.connectTo(), "");
    EXPECT_TRUE(options.tls().verifyHost());
    EXPECT_EQ(options.retry().attempts(), 1);
    EXPECT_EQ(options.identity(), Identity::None);
    EXPECT_FALSE(options.decompress());
    EXPECT_EQ(options.maxBody(), 64U * 1024 * 1024);
    EXPECT_EQ(options.maxHead(), 64U * 1024);
    EXPECT_EQ(options.userAgent(), "libhttpclient");
}

TEST(ClientOptionsValue, TellsWhatItWasGiven) {
    ClientOptions options("http://host");
    options.timeout(1s).attemptTimeout(2s).connectTimeout(3s).connectTo("unix:/x").decompress(true);
    options.maxBody(4).maxHead(5).userAgent("").tls(TlsOptions().serverName("name"));
    options.retry(RetryPolicy().attempts(6)).identity(Identity::Platform);
    EXPECT_EQ(options.identity(), Identity::Platform);
    EXPECT_EQ(options.timeout(), 1s);
    EXPECT_EQ(options.attemptTimeout(), 2s);
    EXPECT_EQ(options.connectTimeout(), 3s);
    EXPECT_EQ(options.connectTo(), "unix:/x");
    EXPECT_TRUE(options.decompress());
    EXPECT_EQ(options.maxBody(), 4U);
    EXPECT_EQ(options.maxHead(), 5U);
    EXPECT_EQ(options.userAgent(), "");
    EXPECT_EQ(options.tls().serverName(), "name");
    EXPECT_EQ(options.retry().attempts(), 6);
}

TEST(ClientOptionsValue, IsCopiedWhole) {
    ClientOptions one("http://host");
    ClientOptions two = one;
    two.timeout(1s);
    EXPECT_EQ(one.timeout(), 30s);
    one = two;
    EXPECT_EQ(one.timeout(), 1s);
    one.timeout(2s);
    EXPECT_EQ(two.timeout(), 1s);
    ClientOptions& same = one;
    one = same;
    EXPECT_EQ(one.timeout(), 2s);
}

TEST(ClientOptionsValue, HasNoOriginOnceItWasMovedFrom) {
    ClientOptions one("http://host");
    one.timeout(1s);
    const ClientOptions two = std::move(one);
    EXPECT_EQ(two.timeout(), 1s);
    // What was moved from is as good as new, but for its origin.
    EXPECT_EQ(one.origin(), "");
    EXPECT_EQ(one.timeout(), 30s);
    EXPECT_THROW(Client{one}, std::invalid_argument);
    one.timeout(3s);
    EXPECT_EQ(one.timeout(), 3s);
    one = two;
    EXPECT_EQ(one.origin(), "http://host");
}

TEST(TlsOptionsValue, HasItsDefaults) {
    const TlsOptions options;
    EXPECT_FALSE(options.keyPassword());
    EXPECT_TRUE(options.verifyHost());
    EXPECT_EQ(options.serverName(), "");
}

TEST(TlsOptionsValue, TellsWhatItWasGiven) {
    TlsOptions options;
    options.files("a", "b", "c").memory("d").verifyHost(false).serverName("name");
    options.keyPassword([] { return std::string("secret"); });
    EXPECT_EQ(options.keyPassword()(), "secret");
    EXPECT_FALSE(options.verifyHost());
    EXPECT_EQ(options.serverName(), "name");
    options.keyPassword(nullptr);
    EXPECT_FALSE(options.keyPassword());
}

TEST(TlsOptionsValue, IsCopiedWhole) {
    TlsOptions one;
    TlsOptions two;
    two.serverName("name");
    one = two;
    EXPECT_EQ(one.serverName(), "name");
    one.serverName("other");
    EXPECT_EQ(two.serverName(), "name");
}

TEST(TlsOptionsValue, IsAsNewOnceItWasMovedFrom) {
    TlsOptions one;
    one.verifyHost(false);
    TlsOptions two = std::move(one);
    EXPECT_FALSE(two.verifyHost());
    EXPECT_TRUE(one.verifyHost());
    const TlsOptions three = one;
    EXPECT_TRUE(three.verifyHost());
    one.serverName("name");
    EXPECT_EQ(one.serverName(), "name");
    EXPECT_EQ(three.serverName(), "");
}

TEST(RetryPolicyValue, HasItsDefaults) {
    const RetryPolicy policy;
    EXPECT_EQ(policy.attempts(), 1);
    EXPECT_EQ(policy.pauses(), std::make_pair(50ms, std::chrono::milliseconds(2000)));
    EXPECT_EQ(policy.budget(), 0.2);
    EXPECT_EQ(policy.statuses(), (std::vector<int>{429, 502, 503, 504}));
}

TEST(RetryPolicyValue, TellsWhatItWasGiven) {
    RetryPolicy policy;
    policy.attempts(2).pauses(3ms, 4ms).budget(0.5).statuses({500});
    EXPECT_EQ(policy.attempts(), 2);
    EXPECT_EQ(policy.pauses(), std::make_pair(3ms, 4ms));
    EXPECT_EQ(policy.budget(), 0.5);
    EXPECT_EQ(policy.statuses(), std::vector<int>{500});
}

TEST(RetryPolicyValue, IsCopiedWhole) {
    RetryPolicy one;
    RetryPolicy two;
    two.attempts(2);
    one = two;
    EXPECT_EQ(one.attempts(), 2);
    one.attempts(3);
    EXPECT_EQ(two.attempts(), 2);
}

TEST(RetryPolicyValue, IsAsNewOnceItWasMovedFrom) {
    RetryPolicy one;
    one.attempts(5);
    const RetryPolicy two = std::move(one);
    EXPECT_EQ(two.attempts(), 5);
    EXPECT_EQ(one.attempts(), 1);
    const ClientOptions options = ClientOptions("http://host").retry(one);
    EXPECT_EQ(options.retry().attempts(), 1);
    one.attempts(2);
    EXPECT_EQ(one.attempts(), 2);
}

TEST(EngineOptionsValue, HasItsDefaults) {
    const EngineOptions options;
    EXPECT_EQ(options.maxConnections(), std::make_pair(std::size_t(100), std::size_t(10'000)));
    EXPECT_EQ(options.maxWaiting(), 10'000U);
    EXPECT_EQ(options.idleTimeout(), 30s);
    EXPECT_EQ(options.maxAge(), 10min);
    EXPECT_EQ(options.nameLifetime(), 30s);
    EXPECT_EQ(options.loops(), 1U);
    EXPECT_EQ(options.callbackThreads(), 2U);
    EXPECT_FALSE(options.executor());
}

TEST(EngineOptionsValue, TellsWhatItWasGiven) {
    EngineOptions options;
    options.maxConnections(1, 2).maxWaiting(3).idleTimeout(4ms).maxAge(5ms).nameLifetime(6ms);
    int run = 0;
    options.loops(7).callbackThreads(8).executor([&run](const std::function<void()>&) { ++run; });
    EXPECT_EQ(options.loops(), 7U);
    EXPECT_EQ(options.callbackThreads(), 8U);
    options.executor()(nullptr);
    EXPECT_EQ(run, 1);
    EXPECT_EQ(options.maxConnections(), std::make_pair(std::size_t(1), std::size_t(2)));
    EXPECT_EQ(options.maxWaiting(), 3U);
    EXPECT_EQ(options.idleTimeout(), 4ms);
    EXPECT_EQ(options.maxAge(), 5ms);
    EXPECT_EQ(options.nameLifetime(), 6ms);
}

TEST(EngineOptionsValue, IsCopiedWhole) {
    EngineOptions one;
    EngineOptions two;
    two.maxWaiting(2);
    one = two;
    EXPECT_EQ(one.maxWaiting(), 2U);
    one.maxWaiting(3);
    EXPECT_EQ(two.maxWaiting(), 2U);
}

TEST(EngineOptionsValue, IsAsNewOnceItWasMovedFrom) {
    EngineOptions one;
    one.maxWaiting(5);
    const EngineOptions two = std::move(one);
    EXPECT_EQ(two.maxWaiting(), 5U);
    EXPECT_EQ(one.maxWaiting(), 10'000U);
    const Engine engine(one);
    one.maxWaiting(6);
    EXPECT_EQ(one.maxWaiting(), 6U);
}

TEST(BadOptions, AreRefusedWhereTheClientIsMade) {
    const auto refusal = [](ClientOptions options) -> std::string {
        try {
            const Client client(std::move(options));
        } catch (const std::invalid_argument& refused) {
            return refused.what();
        }
        return "taken";
    };
    const auto options = [] { return ClientOptions("http://host"); };
    EXPECT_EQ(refusal(options()), "taken");
    EXPECT_NE(refusal(ClientOptions("host")), "taken");
    EXPECT_NE(refusal(options().connectTo("host")), "taken");
    const std::string tooLong(254, 'x');
    for (const std::string& name :
         std::vector<std::string>{" ", "a b", "a:443", "[::1]", "*", "*.example.com", "a/b", "a\n",
                                  std::string("a\0b", 3), "h\xC3\xB6st", tooLong}) {
        EXPECT_EQ(refusal(options().tls(TlsOptions().serverName(name))),
                  "httpclient::TlsOptions: serverName has to be a host name or an address")
            << name;
        EXPECT_NE(refusal(ClientOptions("https://host").tls(TlsOptions().serverName(name))), "taken") << name;
    }
    for (const char* const name : {"", "Name.Example.", "service_1", "10.0.0.1", "::1"}) {
        EXPECT_EQ(refusal(options().tls(TlsOptions().serverName(name))), "taken") << name;
    }
    EXPECT_NE(refusal(options().tls(TlsOptions().memory("junk"))), "taken") << "though nothing is verified";
    const std::string positive = " must be above 0";
    for (const auto time : {0ms, -1ms, std::chrono::milliseconds::min()}) {
        EXPECT_EQ(refusal(options().timeout(time)), "httpclient::ClientOptions: timeout" + positive);
        EXPECT_EQ(refusal(options().attemptTimeout(time)),
                  "httpclient::ClientOptions: attemptTimeout" + positive);
        EXPECT_EQ(refusal(options().connectTimeout(time)),
                  "httpclient::ClientOptions: connectTimeout" + positive);
    }
    for (const int attempts : {0, -1}) {
        EXPECT_EQ(refusal(options().retry(RetryPolicy().attempts(attempts))),
                  "httpclient::RetryPolicy: attempts must be at least 1");
    }
    for (const double budget : {-0.1, std::numeric_limits<double>::quiet_NaN()}) {
        EXPECT_EQ(refusal(options().retry(RetryPolicy().budget(budget))),
                  "httpclient::RetryPolicy: budget must not be below 0");
    }
    EXPECT_NE(refusal(options().retry(RetryPolicy().pauses(-1ms, 1ms))), "taken");
    EXPECT_NE(refusal(options().retry(RetryPolicy().pauses(1ms, -1ms))), "taken");
    EXPECT_EQ(refusal(options().retry(RetryPolicy().pauses(0ms, 0ms).budget(0))), "taken");
    for (const std::string& agent :
         std::vector<std::string>{"a\r\nb", "a\n", " a", "a ", std::string("a\0b", 3)}) {
        EXPECT_EQ(refusal(options().userAgent(agent)),
                  "httpclient::ClientOptions: userAgent is no field value");
    }
}

TEST(BadOptions, AreRefusedWhereTheEngineIsMade) {
    const auto taken = [](const EngineOptions& options) {
        try {
            const Engine engine(options);
        } catch (const std::invalid_argument&) {
            return false;
        }
        return true;
    };
    EXPECT_TRUE(taken(EngineOptions().maxConnections(1, 1).maxWaiting(0)));
    EXPECT_FALSE(taken(EngineOptions().maxConnections(0, 1)));
    EXPECT_FALSE(taken(EngineOptions().maxConnections(1, 0)));
    for (const auto time : {0ms, -1ms}) {
        EXPECT_FALSE(taken(EngineOptions().idleTimeout(time)));
        EXPECT_FALSE(taken(EngineOptions().maxAge(time)));
        EXPECT_FALSE(taken(EngineOptions().nameLifetime(time)));
    }
}

TEST(RequestValue, IsCopiedWhole) {
    Request one(Method::Post, "/a");
    one.header("A", "b").parameter("c", "d").body("e", "f").label("g").timeout(1s).idempotent(true);
    Request two = one;
    two.header("B", "c");
    one = two;
    Request three = std::move(two);
    one.header("C", "d");
    const Request& same = one;
    one = same;
    EXPECT_EQ(one.internals()->fields.size(), 3U);
    EXPECT_EQ(three.internals()->fields.size(), 2U);
}

TEST(RequestValue, TakesABodyInPlaceOfASource) {
    Request request(Method::Put, "/");
    request.bodySource([] { return BodySource(); }, 5).body("text");
    EXPECT_EQ(request.internals()->Framing().length, 4U);
    request.bodySource([] { return BodySource(); }, std::nullopt);
    EXPECT_EQ(request.internals()->Framing().kind, http1::BodyFraming::Kind::Chunked);
}

TEST(ResponseValue, IsEmptyOnceItWasMovedFrom) {
    Response one = ResponseOf(200, "body");
    const Response two = std::move(one);
    EXPECT_EQ(two.status(), 200);
    EXPECT_EQ(two.body(), "body");
    EXPECT_EQ(one.status(), 0);
    EXPECT_EQ(one.headerCount(), 0U);
    EXPECT_EQ(one.header("A"), std::nullopt);
    EXPECT_TRUE(one.headerValues("A").empty());
    EXPECT_THROW(static_cast<void>(one.header(0)), std::out_of_range);
    EXPECT_EQ(one.body(), "");
    EXPECT_EQ(one.timings().total(), 0ns);
    EXPECT_EQ(one.attempts(), 0);
    EXPECT_FALSE(one.reusedConnection());
    EXPECT_EQ(std::move(one).body(), "");
    one = ResponseOf(404, "another");
    EXPECT_EQ(one.status(), 404);
    EXPECT_EQ(one.body(), "another");
}

TEST(ResponseValue, ThrowsBeyondItsFields) {
    const Response response = ResponseOf(200, "");
    EXPECT_THROW(static_cast<void>(response.header(0)), std::out_of_range);
    EXPECT_THROW(static_cast<void>(response.header(std::size_t(-1))), std::out_of_range);
}

TEST(ResultValue, GivesItsResponseOrThrows) {
    Result result = ResultOf(ResponseOf(404, "none"));
    EXPECT_TRUE(static_cast<bool>(result)) << "whatever its status";
    EXPECT_EQ(result->status(), 404);
    EXPECT_EQ((*result).body(), "none");
    EXPECT_EQ(std::as_const(result)->status(), 404);
    EXPECT_EQ((*std::as_const(result)).body(), "none");
    EXPECT_EQ(LogicError([&] { static_cast<void>(result.failure()); }),
              "httpclient::Result: there is no failure");
    const Response own = *std::move(result);
    EXPECT_EQ(own.body(), "none");
}

TEST(ResultValue, GivesItsFailureOrThrows) {
    Result result = ResultOf(FailureOf(FailureKind::Timeout, "late"));
    EXPECT_FALSE(static_cast<bool>(result));
    EXPECT_EQ(result.failure().message(), "late");
    const std::string none = "httpclient::Result: there is no response";
    EXPECT_EQ(LogicError([&] { static_cast<void>(*result); }), none);
    EXPECT_EQ(LogicError([&] { static_cast<void>(result->status()); }), none);
    EXPECT_EQ(LogicError([&] { static_cast<void>(*std::as_const(result)); }), none);
    EXPECT_EQ(LogicError([&] { static_cast<void>(std::as_const(result)->status()); }), none);
    EXPECT_EQ(LogicError([&] { static_cast<void>(*std::move(result)); }), none);
}

TEST(ResultValue, HoldsNothingOnceItWasMovedFrom) {
    Result one = ResultOf(ResponseOf(200, ""));
    Result two = std::move(one);
    EXPECT_TRUE(static_cast<bool>(two));
    EXPECT_FALSE(static_cast<bool>(one));
    EXPECT_THROW(static_cast<void>(*one), std::logic_error);
    EXPECT_THROW(static_cast<void>(one.failure()), std::logic_error);
    one = std::move(two);
    EXPECT_EQ(one->status(), 200);
    EXPECT_FALSE(static_cast<bool>(two));
    one = ResultOf(FailureOf(FailureKind::Connect, ""));
    EXPECT_EQ(one.failure().kind(), FailureKind::Connect);
}

TEST(ResultValue, NeedsNoMemoryToSayThatThereIsNone) {
    for (const bool sent : {false, true}) {
        Result one = OutOfMemory(sent ? Phase::Body : Phase::Prepare, sent);
        EXPECT_EQ(ToldFully(one),
                  sent ? "Internal in Body, sent, attempts 1" : "Internal in Prepare, not sent, attempts 0");
        EXPECT_EQ(one.failure().message(), "out of memory");
        EXPECT_EQ(one.failure().code(), std::errc::not_enough_memory);
        const Failure copy = one.failure();
        Result two = std::move(one);
        EXPECT_EQ(two.failure().kind(), FailureKind::Internal);
        EXPECT_EQ(copy.message(), "out of memory");
        EXPECT_EQ(copy.requestSent(), sent);
    }
}

TEST(FailureValue, IsCopiedWhole) {
    const Failure one = FailureOf(FailureKind::Timeout, "late");
    Failure two = one;
    const Failure three = std::move(two);
    for (const Failure* each : {&one, &three}) {
        EXPECT_EQ(each->kind(), FailureKind::Timeout);
        EXPECT_EQ(each->phase(), Phase::Body);
        EXPECT_EQ(each->code(), std::errc::timed_out);
        EXPECT_EQ(each->message(), "late");
        EXPECT_TRUE(each->requestSent());
        EXPECT_TRUE(each->retryable());
        EXPECT_EQ(each->attempts(), 3);
        EXPECT_EQ(each->timings().of(Phase::Body), 5ms);
        EXPECT_EQ(each->timings().total(), 7ms);
    }
    EXPECT_EQ(two.kind(), FailureKind::Internal);
    const Failure four = two;
    EXPECT_EQ(four.timings().total(), 0ns);
    two = one;
    EXPECT_EQ(two.message(), "late");
}

TEST(TimingsValue, OutlivesItsResponseAsACopy) {
    auto failure = std::make_unique<Failure>(FailureOf(FailureKind::Timeout, ""));
    Timings copy = failure->timings();
    Timings another = failure->timings();
    another = copy;
    failure.reset();
    EXPECT_EQ(copy.of(Phase::Body), 5ms);
    EXPECT_EQ(another.total(), 7ms);
    EXPECT_EQ(copy.of(Phase::Head), 0ns);
    EXPECT_EQ(copy.of(static_cast<Phase>(99)), 0ns);
}

TEST(Names, AreThoseOfTheEnumerators) {
    const std::vector<std::pair<FailureKind, std::string>> kinds = {
        {FailureKind::InvalidRequest, "InvalidRequest"},
        {FailureKind::Overloaded, "Overloaded"},
        {FailureKind::Resolve, "Resolve"},
        {FailureKind::Connect, "Connect"},
        {FailureKind::Tls, "Tls"},
        {FailureKind::Timeout, "Timeout"},
        {FailureKind::Cancelled, "Cancelled"},
        {FailureKind::ConnectionLost, "ConnectionLost"},
        {FailureKind::Protocol, "Protocol"},
        {FailureKind::TooLarge, "TooLarge"},
        {FailureKind::Identity, "Identity"},
        {FailureKind::Shutdown, "Shutdown"},
        {FailureKind::Internal, "Internal"},
    };
    for (const auto& [kind, name] : kinds) {
        EXPECT_EQ(ToString(kind), name);
    }
    const std::vector<std::pair<Phase, std::string>> phases = {
        {Phase::Prepare, "Prepare"}, {Phase::Token, "Token"},     {Phase::Lease, "Lease"},
        {Phase::Resolve, "Resolve"}, {Phase::Connect, "Connect"}, {Phase::Handshake, "Handshake"},
        {Phase::Send, "Send"},       {Phase::Head, "Head"},       {Phase::Body, "Body"},
    };
    for (const auto& [phase, name] : phases) {
        EXPECT_EQ(ToString(phase), name);
    }
    EXPECT_STREQ(ToString(static_cast<FailureKind>(99)), "Unknown");
    EXPECT_STREQ(ToString(static_cast<FailureKind>(-1)), "Unknown");
    EXPECT_STREQ(ToString(static_cast<Phase>(99)), "Unknown");
    EXPECT_STREQ(ToString(Method::Get), "GET");
    EXPECT_STREQ(ToString(static_cast<Method>(99)), "");
}

TEST(MovedFromRequest, IsRefused) {
    Engine engine;
    const Client client(ClientOptions("http://127.0.0.1:1"), engine);
    Request one = Get();
    const Request two = std::move(one);
    EXPECT_EQ(ToldFully(client.Send(one)), "InvalidRequest in Prepare, not sent, attempts 0");
    const Request copy = one;
    EXPECT_EQ(Told(client.Send(copy)), "InvalidRequest in Prepare");
    one.header("A", "b");
    EXPECT_EQ(Told(client.Send(one)), "InvalidRequest in Prepare") << "it has no target";
    one = two;
    EXPECT_EQ(Told(client.Send(one)), "Connect in Connect");
}

TEST(MovedFromClient, IsRefused) {
    Engine engine;
    Client one(ClientOptions("http://127.0.0.1:1"), engine);
    const Client two = std::move(one);
    EXPECT_EQ(ToldFully(one.Send(Get())), "InvalidRequest in Prepare, not sent, attempts 0");
    one = two;
    EXPECT_EQ(Told(one.Send(Get())), "Connect in Connect");
    one = Client(ClientOptions("http://host").connectTo("unix:/nowhere/at/all"), engine);
    const Result refused = one.Send(Get());
    EXPECT_EQ(refused.failure().code(), std::errc::no_such_file_or_directory) << "it is the other client";
}

// NOLINTEND(bugprone-use-after-move,clang-analyzer-cplusplus.Move)
