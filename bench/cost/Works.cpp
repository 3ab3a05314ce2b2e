// SPDX-License-Identifier: Apache-2.0
#include "Works.h"

#include <map>
#include <memory>

#include <httpclient/HttpClient.h>
#include <httpclient/HttpRequest.h>
#include <httpclient/HttpResponse.h>

#include "../BareLoop.h"
#include "CachedToken.h"

namespace {

constexpr size_t POST_BYTES = 16 * 1024;
constexpr const char* PATH = "/128";

std::string Url(std::uint16_t port) {
    return "http://127.0.0.1:" + std::to_string(port) + PATH;
}

SendOne FloorGet(std::uint16_t port) {
    auto loop = std::make_shared<BareLoop>(Url(port));
    return [loop] { return loop->Get(); };
}

SendOne FloorGetWithToken(std::uint16_t port) {
    auto loop = std::make_shared<BareLoop>(Url(port), "x-access-token:" + MeasuredToken());
    return [loop] { return loop->Get(); };
}

SendOne FloorPost(std::uint16_t port) {
    auto loop = std::make_shared<BareLoop>(Url(port));
    auto body = std::make_shared<std::string>(POST_BYTES, 'b');
    return [loop, body] { return loop->Post(*body); };
}

SendOne Library(std::uint16_t port, HTTPOPERATIONTYPE verb, const char* path, const std::string& body) {
    auto client = std::make_shared<CHttpClient>();
    client->setPort(port);
    auto request = std::make_shared<CHttpRequest>();
    request->setVerb(verb);
    request->setUrlPath(path);
    request->setContent(body);
    return [client, request]() -> long {
        CHttpResponse response; // one for each request, as hosts have it
        return client->synSendRequest(*request, response, false);
    };
}

SendOne LibraryGet(std::uint16_t port) {
    return Library(port, HTTPOPERATION_GET, PATH, "");
}

SendOne LibraryPost(std::uint16_t port) {
    return Library(port, HTTPOPERATION_POST, PATH, std::string(POST_BYTES, 'b'));
}

SendOne LibraryGetWithToken(std::uint16_t port) {
    CacheToken("/1*");
    return Library(port, HTTPOPERATION_GET, PATH, "");
}

} // namespace

SendOne MakeWork(const std::string& name, std::uint16_t port) {
    static const std::map<std::string, SendOne (*)(std::uint16_t)> makers{
        {"floor-get", &FloorGet},
        {"library-get", &LibraryGet},
        {"floor-post", &FloorPost},
        {"library-post", &LibraryPost},
        {"floor-get-token", &FloorGetWithToken},
        {"library-get-token", &LibraryGetWithToken}};
    return makers.at(name)(port);
}
