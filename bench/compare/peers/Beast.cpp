// SPDX-License-Identifier: Apache-2.0
#include <optional>

#include <boost/asio/connect.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>

#include "../Peer.h"

namespace {

namespace http = boost::beast::http;
namespace ssl = boost::asio::ssl;
using Tcp = boost::asio::ip::tcp;

constexpr std::uint64_t LONGEST_BODY = 64UL * 1024 * 1024;

void Connect(Tcp::socket& socket, std::uint16_t port) {
    socket.connect(Tcp::endpoint(boost::asio::ip::make_address("127.0.0.1"), port));
    socket.set_option(Tcp::no_delay(true));
}

class PlainStream {
public:
    explicit PlainStream(const Target&) {}
    void Open(boost::asio::io_context& context, std::uint16_t port) {
        Connect(m_socket.emplace(context), port);
    }
    auto* Get() { return m_socket ? &*m_socket : nullptr; }
    void Close() { m_socket.reset(); }

private:
    std::optional<Tcp::socket> m_socket;
};

class TlsStream {
public:
    explicit TlsStream(const Target& target) {
        m_context.set_verify_mode(ssl::verify_peer);
        m_context.load_verify_file(target.ca);
        m_context.use_certificate_chain_file(target.certificate);
        m_context.use_private_key_file(target.key, ssl::context::pem);
    }
    void Open(boost::asio::io_context& context, std::uint16_t port) {
        m_stream.emplace(context, m_context);
        Connect(m_stream->next_layer(), port);
        m_stream->handshake(ssl::stream_base::client);
    }
    auto* Get() { return m_stream ? &*m_stream : nullptr; }
    void Close() { m_stream.reset(); }

private:
    ssl::context m_context{ssl::context::tls_client};
    std::optional<ssl::stream<Tcp::socket>> m_stream;
};

template <typename Stream> class Beast : public Peer {
public:
    explicit Beast(const Target& target) : m_target(target), m_stream(target) {}
    bool Send() override {
        if (m_stream.Get() == nullptr) {
            Connect();
        }
        http::request<http::string_body> request{m_target.body.empty() ? http::verb::get : http::verb::post,
                                                 m_target.path, 11};
        request.set(http::field::host, "127.0.0.1");
        if (!m_target.token.empty()) {
            request.set("x-access-token", m_target.token);
        }
        request.body() = m_target.body;
        request.prepare_payload();
        http::write(*m_stream.Get(), request);
        http::response_parser<http::string_body> parser;
        parser.body_limit(LONGEST_BODY);
        http::read(*m_stream.Get(), m_buffer, parser);
        const auto& response = parser.get();
        if (!response.keep_alive()) {
            m_stream.Close();
        }
        return m_target.IsAnswer(response.result_int(), response.body().size());
    }

private:
    void Connect() {
        m_buffer.clear();
        try {
            m_stream.Open(m_context, m_target.port);
        } catch (...) {
            m_stream.Close();
            throw;
        }
    }

    Target m_target;
    boost::asio::io_context m_context;
    Stream m_stream;
    boost::beast::flat_buffer m_buffer;
};

} // namespace

std::unique_ptr<Peer> MakeBeast(const Target& target) {
    if (target.tls) {
        return std::make_unique<Beast<TlsStream>>(target);
    }
    return std::make_unique<Beast<PlainStream>>(target);
}
