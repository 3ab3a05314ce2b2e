// SPDX-License-Identifier: Apache-2.0
#include "Works.h"

#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include <httpclient/Client.h>
#include <httpclient/HttpClient.h>
#include <httpclient/HttpConnectionMgr.h>
#include <httpclient/HttpRequest.h>
#include <httpclient/HttpResponse.h>

#include "../BareLoop.h"
#include "CachedToken.h"

namespace {

constexpr size_t POST_BYTES = 16UL * 1024;
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

SendOne Library(std::uint16_t port, HTTPOPERATIONTYPE verb, const char* path, const std::string& body,
                HTTPTRANSFERPROFILE profile = HTTPTRANSFERPROFILE_COMPATIBLE) {
    auto client = std::make_shared<CHttpClient>();
    client->setTransferProfile(profile);
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

SendOne StrictGet(std::uint16_t port) {
    return Library(port, HTTPOPERATION_GET, PATH, "", HTTPTRANSFERPROFILE_STRICT);
}

/// What the last asynchronous send was answered.
class Answered {
public:
    static void Put(const CHttpResponse& response) {
        const std::lock_guard<std::mutex> lock(m_lock);
        m_status = response.getStatusCode();
        m_changed.notify_one();
    }
    static long Take() {
        std::unique_lock<std::mutex> lock(m_lock);
        m_changed.wait(lock, [] { return m_status.has_value(); });
        return *std::exchange(m_status, std::nullopt);
    }

private:
    inline static std::mutex m_lock;
    inline static std::condition_variable m_changed;
    inline static std::optional<long> m_status;
};

SendOne StrictAsynGet(std::uint16_t port) {
    auto client = std::make_shared<CHttpClient>();
    client->setTransferProfile(HTTPTRANSFERPROFILE_STRICT);
    client->setPort(port);
    auto request = std::make_shared<CHttpRequest>();
    request->setVerb(HTTPOPERATION_GET);
    request->setUrlPath(PATH);
    return [client, request]() -> long {
        client->asynSendRequest(*request, &Answered::Put, false);
        return Answered::Take();
    };
}

SendOne StrictPost(std::uint16_t port) {
    return Library(port, HTTPOPERATION_POST, PATH, std::string(POST_BYTES, 'b'), HTTPTRANSFERPROFILE_STRICT);
}

SendOne Client(std::uint16_t port, httpclient::Request request,
               httpclient::Identity identity = httpclient::Identity::None) {
    auto client = std::make_shared<httpclient::Client>(
        httpclient::ClientOptions("http://127.0.0.1:" + std::to_string(port)).identity(identity));
    auto kept = std::make_shared<httpclient::Request>(std::move(request));
    return [client, kept]() -> long {
        httpclient::Result result = client->Send(*kept);
        return result ? result->status() : 0;
    };
}

SendOne ClientGet(std::uint16_t port) {
    return Client(port, httpclient::Request(httpclient::Method::Get, PATH));
}

SendOne ClientGetAs(std::uint16_t port, httpclient::Identity identity) {
    return Client(port, httpclient::Request(httpclient::Method::Get, PATH), identity);
}

/// Has the engine's store filled.
void ExchangeToken(std::uint16_t port) {
    CacheToken("/1*");
    ClientGetAs(port, httpclient::Identity::Platform)();
}

SendOne ClientGetWithToken(std::uint16_t port) {
    ExchangeToken(port);
    return ClientGetAs(port, httpclient::Identity::Platform);
}

SendOne ClientGetBesideToken(std::uint16_t port) {
    ExchangeToken(port);
    return ClientGetAs(port, httpclient::Identity::None);
}

SendOne StrictGetWithToken(std::uint16_t port) {
    ExchangeToken(port);
    return StrictGet(port);
}

SendOne StrictGetBesideToken(std::uint16_t port) {
    ExchangeToken(port);
    SwitchIdentity(false);
    return StrictGet(port);
}

SendOne ClientGetLabelled(std::uint16_t port) {
    return Client(port, httpclient::Request(httpclient::Method::Get, PATH).label("/orders/{id}/items"));
}

SendOne ClientPost(std::uint16_t port) {
    httpclient::Request request(httpclient::Method::Post, PATH);
    request.body(std::string(POST_BYTES, 'b'));
    return Client(port, std::move(request));
}

/// Calls that are sent at once; then each counts as one request.
class AtOnce {
public:
    AtOnce(std::uint16_t port, int count)
        : m_client(httpclient::ClientOptions("http://127.0.0.1:" + std::to_string(port))), m_count(count) {}

    long Send() {
        if (m_left == 0) {
            SendAll();
        }
        --m_left;
        return m_status;
    }

private:
    void SendAll() {
        std::unique_lock<std::mutex> lock(m_lock);
        m_status = 200;
        for (; m_left < m_count; ++m_left) {
            m_client.Start(m_request, [this](const httpclient::Result& result) { Ended(result); });
        }
        m_changed.wait(lock, [this] { return m_ended == m_count; });
        m_ended = 0;
    }
    void Ended(const httpclient::Result& result) {
        std::unique_lock<std::mutex> lock(m_lock);
        if (!result || result->status() != 200) {
            m_status = 0;
        }
        const bool last = ++m_ended == m_count;
        lock.unlock();
        if (last) {
            m_changed.notify_one();
        }
    }

    httpclient::Client m_client;
    httpclient::Request m_request{httpclient::Method::Get, PATH};
    const int m_count;
    int m_left = 0;
    std::mutex m_lock;
    std::condition_variable m_changed;
    int m_ended = 0;
    long m_status = 0;
};

SendOne Asynchronous(std::uint16_t port, int atOnce) {
    auto calls = std::make_shared<AtOnce>(port, atOnce);
    return [calls] { return calls->Send(); };
}

SendOne AsyncGet(std::uint16_t port) {
    return Asynchronous(port, 1);
}

SendOne AsyncGets(std::uint16_t port) {
    constexpr int AT_ONCE = 20;
    return Asynchronous(port, AT_ONCE);
}

/// @return false when the pool takes no more addresses.
bool FillPool(const std::string& host, unsigned int port, int connections) {
    CHttpConnectionMgr* pool = CHttpConnectionMgr::Instance();
    std::vector<CHttpConnection*> lent;
    for (int i = 0; i < connections; ++i) {
        if (CHttpConnection* conn = pool->GetConn(host, port, false)) {
            lent.push_back(conn);
        }
    }
    for (CHttpConnection* conn : lent) {
        pool->ReleaseConn(conn);
    }
    return !lent.empty();
}

/// Beside idle connections: many of its own address, some of each other address that the pool takes.
SendOne LibraryGetBesidePooled(std::uint16_t port) {
    constexpr int OF_ITS_OWN = 100;
    constexpr int OF_EACH_OTHER =
        5; // each has two descriptors, of which a process often has no more than 1024
    CHttpConnectionMgr::Instance()->SetRlsTime(3600); // no sweep closes them
    FillPool("127.0.0.1", port, OF_ITS_OWN);
    for (int i = 2; FillPool("127.0.0." + std::to_string(i), port, OF_EACH_OTHER); ++i) {
    }
    return LibraryGet(port);
}

} // namespace

SendOne MakeWork(const std::string& name, std::uint16_t port) {
    static const std::map<std::string, SendOne (*)(std::uint16_t)> makers{
        {"floor-get", &FloorGet},
        {"library-get", &LibraryGet},
        {"floor-post", &FloorPost},
        {"library-post", &LibraryPost},
        {"floor-get-token", &FloorGetWithToken},
        {"library-get-token", &LibraryGetWithToken},
        {"library-get-pooled", &LibraryGetBesidePooled},
        {"client-get", &ClientGet},
        {"client-get-token", &ClientGetWithToken},
        {"client-get-beside-token", &ClientGetBesideToken},
        {"client-get-labelled", &ClientGetLabelled},
        {"client-post", &ClientPost},
        {"async-get", &AsyncGet},
        {"async-get-20", &AsyncGets},
        {"strict-get", &StrictGet},
        {"strict-get-token", &StrictGetWithToken},
        {"strict-get-beside-token", &StrictGetBesideToken},
        {"strict-post", &StrictPost},
        {"strict-asyn-get", &StrictAsynGet}};
    return makers.at(name)(port);
}
