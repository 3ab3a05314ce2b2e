// SPDX-License-Identifier: Apache-2.0
// Beast's asynchronous client with a deadline for each call, as its examples have it; one thread.
#include <optional>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>

#include "../Crowd.h"

namespace {

namespace beast = boost::beast;
namespace http = beast::http;
using Tcp = boost::asio::ip::tcp;

/// What the sessions of a run share.
struct Shared {
    boost::asio::io_context context{1};
    Tcp::endpoint server;
    Tally tally;
    Clock::time_point until;
};

/// A connection, and one call after another on it.
class Session {
public:
    explicit Session(Shared& shared) : m_shared(shared), m_stream(shared.context) {}

    void Start() {
        m_stream.expires_after(DEADLINE);
        if (m_stream.socket().is_open()) {
            return Send();
        }
        m_stream.async_connect(m_shared.server, [this](beast::error_code error) {
            if (error) {
                return Ended(false);
            }
            m_stream.socket().set_option(Tcp::no_delay(true));
            Send();
        });
    }

private:
    void Send() {
        m_request.emplace(http::verb::get, "/128", 11);
        m_request->set(http::field::host, "127.0.0.1");
        http::async_write(m_stream, *m_request,
                          [this](beast::error_code error, std::size_t) { error ? Ended(false) : Receive(); });
    }
    void Receive() {
        m_parser.emplace();
        http::async_read(m_stream, m_buffer, *m_parser, [this](beast::error_code error, std::size_t) {
            if (error) {
                return Ended(false);
            }
            const http::response<http::string_body> answer = m_parser->release();
            Ended(answer.result_int() == 200 && answer.body().size() == ANSWER_BYTES);
        });
    }
    void Ended(bool answered) {
        ++(answered ? m_shared.tally.answered : m_shared.tally.failed);
        if (!answered) {
            m_stream.close();
            m_buffer.clear();
        }
        if (Clock::now() < m_shared.until) {
            Start();
        } else {
            m_stream.expires_never();
        }
    }

    Shared& m_shared;
    beast::tcp_stream m_stream;
    beast::flat_buffer m_buffer;
    std::optional<http::request<http::empty_body>> m_request;
    std::optional<http::response_parser<http::string_body>> m_parser;
};

class Beast : public Crowd {
public:
    explicit Beast(const CrowdTarget& target) {
        m_shared.server = Tcp::endpoint(boost::asio::ip::make_address("127.0.0.1"), target.port);
    }
    Tally Run(std::size_t inFlight, Clock::time_point until) override {
        while (m_sessions.size() < inFlight) {
            m_sessions.push_back(std::make_unique<Session>(m_shared));
        }
        m_shared.tally = {};
        m_shared.until = until;
        for (std::size_t index = 0; index < inFlight; ++index) {
            m_sessions[index]->Start();
        }
        m_shared.context.restart();
        m_shared.context.run();
        return m_shared.tally;
    }

private:
    Shared m_shared;
    std::vector<std::unique_ptr<Session>> m_sessions;
};

} // namespace

std::unique_ptr<Crowd> MakeBeast(const CrowdTarget& target) {
    return std::make_unique<Beast>(target);
}
