// SPDX-License-Identifier: Apache-2.0
#include "../Peer.h"

#include <boost/asio/connect.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>

namespace {

namespace http = boost::beast::http;
using Tcp = boost::asio::ip::tcp;

constexpr std::uint64_t LONGEST_BODY = 64 * 1024 * 1024;

class Beast : public Peer {
public:
    explicit Beast(const Target& target) : m_target(target) {}
    bool Send() override {
        if (!m_socket.is_open())
            Connect();
        http::request<http::string_body> request{m_target.body.empty() ? http::verb::get : http::verb::post,
                                                 m_target.path, 11};
        request.set(http::field::host, "127.0.0.1");
        if (!m_target.token.empty())
            request.set("x-access-token", m_target.token);
        request.body() = m_target.body;
        request.prepare_payload();
        http::write(m_socket, request);
        http::response_parser<http::string_body> parser;
        parser.body_limit(LONGEST_BODY);
        http::read(m_socket, m_buffer, parser);
        const auto& response = parser.get();
        if (!response.keep_alive())
            m_socket.close();
        return response.result() == http::status::ok && !response.body().empty();
    }

private:
    void Connect() {
        m_socket.connect(Tcp::endpoint(boost::asio::ip::make_address("127.0.0.1"), m_target.port));
        m_socket.set_option(Tcp::no_delay(true));
        m_buffer.clear();
    }

    Target m_target;
    boost::asio::io_context m_context;
    Tcp::socket m_socket{m_context};
    boost::beast::flat_buffer m_buffer;
};

} // namespace

std::unique_ptr<Peer> MakeBeast(const Target& target) {
    return std::make_unique<Beast>(target);
}
