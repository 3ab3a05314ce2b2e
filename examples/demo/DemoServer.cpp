// SPDX-License-Identifier: Apache-2.0
#include "demo/DemoServer.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <stdexcept>

#include <httplib.h>
#include <sys/socket.h>

#include <fmt/format.h>
#include <json/reader.h>
#include <json/value.h>

#include "demo/PeerName.h"

namespace demo {
namespace {

using httplib::Request;
using httplib::Response;

constexpr const char* TEXT = "text/plain; charset=UTF-8";
constexpr size_t THREADS = 64; // each open connection holds one
constexpr size_t REQUESTS_PER_CONNECTION = 1'000'000;
constexpr size_t LARGEST_BODY = 64UL * 1024 * 1024;

/// httplib puts the addresses of the connection among a request's headers; they did not arrive.
bool Arrived(const std::string& name) {
    return name != "LOCAL_ADDR" && name != "LOCAL_PORT" && name != "REMOTE_ADDR" && name != "REMOTE_PORT";
}

/// What arrived, nearly as it came (the order of the headers is httplib's).
void Echo(const Request& request, Response& response) {
    std::string text = fmt::format("{} {}\n", request.method, request.target);
    for (const auto& [name, value] : request.headers) {
        text += Arrived(name) ? fmt::format("{}: {}\n", name, value) : "";
    }
    text += "\n" + request.body;
    response.set_content(text, TEXT);
}

void Chunked(const Request&, Response& response) {
    response.set_chunked_content_provider(TEXT, [](size_t, httplib::DataSink& sink) {
        for (const std::string piece : {"one, ", "two, ", "three\n"}) {
            sink.write(piece.data(), piece.size());
        }
        sink.done();
        return true;
    });
}

/// No length and no chunks: the end of the connection is the end of the body.
void UntilClose(const Request&, Response& response) {
    response.set_header("Connection", "close");
    response.set_content_provider(TEXT, [](size_t, httplib::DataSink& sink) {
        const std::string body = "this ends where the connection ends\n";
        sink.write(body.data(), body.size());
        return false; // which makes httplib close the connection
    });
}

/// Long and dull, so that it is worth compressing; httplib does so when the client accepts it.
void Gzip(const Request&, Response& response) {
    std::string text;
    for (int line = 1; line <= 100; ++line) {
        text += "All work and no play makes a dull text.\n";
    }
    response.set_content(text, TEXT);
}

void Cookie(const Request& request, Response& response) {
    response.set_content(
        request.has_header("Cookie") ? request.get_header_value("Cookie") + "\n" : "no cookie\n", TEXT);
}

void Forbidden(const Request&, Response& response) {
    response.status = 403;
    response.set_content("You shall not pass.\n", TEXT);
}

/// The number at the end of the path, as the route's expression has caught it.
size_t NumberIn(const Request& request) {
    return std::strtoul(request.matches[1].str().c_str(), nullptr, 10);
}

void Status(const Request& request, Response& response) {
    response.status = static_cast<int>(NumberIn(request));
    response.set_content(fmt::format("This is a {}.\n", response.status), TEXT);
}

void Slow(const Request& request, Response& response) {
    const size_t milliseconds = NumberIn(request);
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
    response.set_content(fmt::format("Sorry to have kept you waiting for {} ms.\n", milliseconds), TEXT);
}

void Bytes(const Request& request, Response& response) {
    response.set_content(std::string(std::min(NumberIn(request), LARGEST_BODY), 'x'),
                         "application/octet-stream");
}

/// Gives its answer byte by byte, until the client has had enough.
void Drip(const Request& request, Response& response) {
    constexpr std::size_t BYTES = 200;
    const std::chrono::milliseconds pause(NumberIn(request));
    response.set_content_provider(BYTES, TEXT, [pause](std::size_t, std::size_t, httplib::DataSink& sink) {
        std::this_thread::sleep_for(pause);
        return sink.is_writable() && sink.write(".", 1);
    });
}

/// Says who the client is.
void Peer(const Request& request, Response& response) {
    const std::string name = PeerName(request.ssl);
    response.set_content(name.empty() ? "no certificate\n" : name + "\n", TEXT);
}

/// Lets in who has a good token.
void Guarded(const Request& request, Response& response, const Tokens& tokens) {
    const bool good = tokens.Accepts(request.get_header_value("x-access-token"));
    response.status = good ? 200 : 403;
    response.set_content(good ? "Come in, your token is good.\n" : "Your token is not good.\n", TEXT);
}

std::string StringMember(const Json::Value& object, const char* name) {
    return object.isObject() && object[name].isString() ? object[name].asString() : "";
}

/// Gives a token in exchange for a credential.
void Exchange(const Request& request, Response& response, Tokens& tokens) {
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    Json::Value asked;
    reader->parse(request.body.data(), request.body.data() + request.body.size(), &asked, nullptr);
    Json::Value answer;
    answer["token"] =
        tokens.Issue(StringMember(asked, "domain"), StringMember(asked, "jwt"), PeerName(request.ssl));
    response.status = answer["token"].asString().empty() ? 400 : 200;
    response.set_header("Connection", "close"); // the next one is hours away
    response.set_content(answer.toStyledString(), "application/json");
}

void AddPages(httplib::Server& server) {
    server.Get("/",
               [](const Request&, Response& response) { response.set_content(DemoServer::Index(), TEXT); });
    server.Get("/echo", Echo).Put("/echo", Echo).Post("/echo", Echo).Delete("/echo", Echo);
    server.Get("/gzip", Gzip);
    server.Get("/chunked", Chunked);
    server.Get("/until-close", UntilClose);
    server.Get("/cookie", Cookie);
    server.Get("/forbidden", Forbidden);
    server.Get("/peer", Peer);
    server.Get(R"(/status/([2-5]\d\d))", Status);
    server.Get(R"(/slow/(\d{1,5}))", Slow);
    server.Get(R"(/drip/(\d{1,4}))", Drip);
    server.Get(R"(/bytes/(\d{1,8}))", Bytes);
}

void AddPagesWithTokens(httplib::Server& server, const std::shared_ptr<Tokens>& tokens) {
    server.Get("/guarded",
               [tokens](const Request& request, Response& response) { Guarded(request, response, *tokens); });
    server.Post("/rest/sia/v1/tokens/jwt/sia", [tokens](const Request& request, Response& response) {
        Exchange(request, response, *tokens);
    });
}

std::unique_ptr<httplib::Server> MakeServer(const std::string& tlsDirectory) {
    if (tlsDirectory.empty()) {
        return std::make_unique<httplib::Server>();
    }
    const std::string prefix = tlsDirectory + "/";
    auto server = std::make_unique<httplib::SSLServer>(
        (prefix + "server.cer").c_str(), (prefix + "server_key.pem").c_str(), (prefix + "trust.cer").c_str());
    if (!server->is_valid()) {
        throw std::runtime_error(fmt::format("no TLS with the files of \"{}\"", tlsDirectory));
    }
    // Without a name for them, sessions of clients with certificates cannot be taken up again.
    const unsigned char sessions[] = "demo";
    SSL_CTX_set_session_id_context(server->ssl_context(), sessions, sizeof sessions - 1);
    return server;
}

/// httplib would share the port with whoever listens there already.
void ShareNoPort(socket_t socket) {
    const int yes = 1;
    setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
}

int Bind(httplib::Server& server, const Place& place) {
    return place.port == 0 ? server.bind_to_any_port(place.address)
                           : (server.bind_to_port(place.address, place.port) ? place.port : -1);
}

} // namespace

std::string DemoServer::Index() {
    return "/echo            GET, PUT, POST, DELETE, HEAD: says what arrived\n"
           "/gzip            a long text, compressed for those who accept it\n"
           "/chunked         a text in chunks\n"
           "/until-close     a text that ends with the connection\n"
           "/cookie          says the cookie it got\n"
           "/forbidden       403\n"
           "/peer            says the name in the client's certificate\n"
           "/guarded         403, but for those with a token of this server's in x-access-token\n"
           "/status/N        that status\n"
           "/slow/MS         answers after so many milliseconds\n"
           "/drip/MS         a byte every so many milliseconds, 200 of them\n"
           "/bytes/N         so many bytes\n"
           "/rest/sia/v1/tokens/jwt/sia\n"
           "                 POST: invents a token; {\"domain\": service, \"jwt\": any text}\n";
}

DemoServer::DemoServer(const Place& place, std::shared_ptr<Tokens> tokens, const MorePages& more)
    : m_server(MakeServer(place.tlsDirectory)) {
    m_server->new_task_queue = [] { return new httplib::ThreadPool(THREADS); };
    m_server->set_keep_alive_max_count(REQUESTS_PER_CONNECTION);
    m_server->set_tcp_nodelay(true);
    m_server->set_socket_options(ShareNoPort);
    AddPages(*m_server);
    AddPagesWithTokens(*m_server, tokens);

    m_port = Bind(*m_server, place);
    if (m_port <= 0) {
        throw std::runtime_error(fmt::format("cannot listen on {}:{}", place.address, place.port));
    }
    if (more) {
        more(*m_server, m_port);
    }
    m_thread = std::thread([this] { m_server->listen_after_bind(); });
    while (!m_server->is_running()) { // it does not stop what has not begun
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

DemoServer::~DemoServer() {
    m_server->stop();
    m_thread.join();
}

} // namespace demo
