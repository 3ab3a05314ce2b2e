// SPDX-License-Identifier: Apache-2.0
// Two requests one after the other, without a thread that waits: httpclient-await http://127.0.0.1:8080 /one /two
#include <coroutine>
#include <exception>
#include <future>
#include <iostream>
#include <string>

#include <httpclient/Await.h>

using namespace httpclient;

namespace {

/// What a coroutine returns: a future of its value. Hosts have a type of their own, of whatever framework they use.
struct Promised {
    struct promise_type {
        std::promise<int> value;
        Promised get_return_object() { return {value.get_future()}; }
        std::suspend_never initial_suspend() noexcept { return {}; }
        std::suspend_never final_suspend() noexcept { return {}; }
        void return_value(int result) { value.set_value(result); }
        void unhandled_exception() { value.set_exception(std::current_exception()); }
    };
    std::future<int> future;
};

Promised Fetch(Client client, std::string first, std::string second) {
    for (const std::string& path : {first, second}) {
        const Result result = co_await Await(client, Request(Method::Get, path));
        if (!result) {
            std::cout << result.failure().message() << '\n';
            co_return 1;
        }
        std::cout << result->status() << ' ' << result->body() << '\n';
    }
    co_return 0;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        std::cerr << "httpclient-await <origin> <path> <path>\n";
        return 2;
    }
    try {
        const Client client{ClientOptions(argv[1])};
        return Fetch(client, argv[2], argv[3]).future.get();
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 2;
    }
}
