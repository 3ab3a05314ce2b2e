// SPDX-License-Identifier: Apache-2.0
// Calls in coroutines, through the library as hosts have it, and its example.
#include <coroutine>
#include <exception>
#include <future>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include <httpclient/Await.h>
#include <httpclient/Engine.h>
#include <httpclient/HttpConnectionMgr.h>
#include <httpclient/testing/LoopbackServer.h>

#include "tests/support/Process.h"

namespace kit = httpclient::testing;
using namespace httpclient;

namespace {

struct Told {
    struct promise_type {
        std::promise<std::string> value;
        Told get_return_object() { return {value.get_future()}; }
        std::suspend_never initial_suspend() noexcept { return {}; }
        std::suspend_never final_suspend() noexcept { return {}; }
        void return_value(std::string result) { value.set_value(std::move(result)); }
        void unhandled_exception() { value.set_exception(std::current_exception()); }
    };
    std::future<std::string> future;
};

std::string TextOf(const Result& result) {
    return result ? std::to_string(result->status()) + " " + result->body()
                  : ToString(result.failure().kind());
}

Told Fetch(Client client, int times) {
    std::string all;
    for (int number = 0; number < times; ++number) {
        Result result =
            co_await Await(client, Request(Method::Get, std::string("/").append(std::to_string(number))));
        all += TextOf(result) + ";";
    }
    co_return all;
}

kit::LoopbackServer::Handler Echo() {
    return [](const kit::RecordedRequest& request) { return kit::Respond(200, {}, request.target); };
}

TEST(AwaitTest, ACoroutineGetsTheResultsOneAfterTheOther) {
    kit::LoopbackServer server(Echo());
    Engine engine;
    const Client client(ClientOptions(server.url("")), engine);
    EXPECT_EQ(Fetch(client, 3).future.get(), "200 /0;200 /1;200 /2;");
}

TEST(AwaitTest, ManyCoroutinesGoOnAtOnce) {
    kit::LoopbackServer server(Echo());
    Engine engine;
    std::vector<Told> all;
    {
        const Client client(ClientOptions(server.url("")), engine);
        for (int number = 0; number < 100; ++number) {
            all.push_back(Fetch(client, 2));
        }
    }
    for (Told& one : all) {
        EXPECT_EQ(one.future.get(), "200 /0;200 /1;");
    }
}

TEST(AwaitTest, ACoroutineMayEndTheEngine) {
    kit::LoopbackServer server(Echo());
    auto engine = std::make_unique<Engine>();
    const auto act = [](Client client, std::unique_ptr<Engine>& ended) -> Told {
        const Result first = co_await Await(client, Request(Method::Get, "/"));
        ended.reset();
        const Result second = co_await Await(client, Request(Method::Get, "/"));
        co_return TextOf(first) + ";" + TextOf(second);
    };
    EXPECT_EQ(act(Client(ClientOptions(server.url("")), *engine), engine).future.get(), "200 /;Shutdown");
}

TEST(AwaitTest, TheSharedEngineBeginsAnewAfterFinalize) {
    kit::LoopbackServer server(Echo());
    const Client client{ClientOptions(server.url(""))};
    for (int round = 0; round < 20; ++round) {
        Told under = Fetch(client, 1);
        CHttpConnectionMgr::Finalize();
        const std::string told = under.future.get();
        EXPECT_TRUE(told == "200 /0;" || told == "Shutdown;") << told;
        EXPECT_EQ(Fetch(client, 1).future.get(), "200 /0;");
    }
    CHttpConnectionMgr::Finalize();
}

#ifdef AWAIT_PROGRAM
TEST(AwaitTest, TheExampleShowsBothAnswers) {
    kit::LoopbackServer server(Echo());
    kit::Command show;
    show.words = {AWAIT_PROGRAM, server.url(""), "/one", "/two"};
    const kit::Ended ended = kit::RunCommand(show);
    EXPECT_EQ(ended.out, "200 /one\n200 /two\n");
    EXPECT_EQ(ended.exitCode, 0) << ended.err;
}
#endif

} // namespace
