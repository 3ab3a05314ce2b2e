// SPDX-License-Identifier: Apache-2.0
#include <iostream>

#include <httpclient/Client.h>

int main(int argc, char** argv) {
    using namespace httpclient;
    const Client client(ClientOptions(argc > 1 ? argv[1] : "http://127.0.0.1:8080"));
    const Request request = Request(Method::Post, "/echo").body(R"({"name":"value"})", "application/json");
    const Result result = client.Send(request);
    if (!result) {
        std::cerr << result.failure().message() << '\n'; // why there is no answer
        return 1;
    }
    std::cout << result->status() << '\n' << result->body() << '\n';
}
