// SPDX-License-Identifier: Apache-2.0
// What the server does. One thread: thousands of its connections only wait.
#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <string_view>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <event2/buffer.h>
#include <event2/bufferevent.h>
#include <event2/event.h>
#include <event2/listener.h>

#include "engine/FaultyServer.h"

namespace {

constexpr std::size_t MOST_READ = 256UL * 1024;

event_base* g_base = nullptr;

/// One connection, which owns itself.
class Conversation {
public:
    explicit Conversation(evutil_socket_t fd)
        : m_stream(bufferevent_socket_new(g_base, fd, BEV_OPT_CLOSE_ON_FREE)), m_timer(nullptr) {
        // A long body in few turns: on a busy machine each may take a tenth of a second.
        bufferevent_set_max_single_read(m_stream, MOST_READ);
        bufferevent_setcb(m_stream, &OnRead, &OnWritten, &OnEnd, this);
        bufferevent_enable(m_stream, EV_READ | EV_WRITE);
    }
    Conversation(const Conversation&) = delete;
    Conversation& operator=(const Conversation&) = delete;

private:
    ~Conversation() {
        if (m_timer != nullptr) {
            event_free(m_timer);
        }
        bufferevent_free(m_stream);
    }

    static Conversation& Of(void* self) { return *static_cast<Conversation*>(self); }
    static void OnRead(bufferevent* /*stream*/, void* self) { Of(self).Read(); }
    static void OnWritten(bufferevent* /*stream*/, void* self) {
        if (Of(self).m_closes) {
            delete &Of(self);
        }
    }
    static void OnEnd(bufferevent* /*stream*/, short /*what*/, void* self) { delete &Of(self); }
    static void OnTimer(evutil_socket_t /*fd*/, short /*what*/, void* self) { Of(self).m_later(Of(self)); }

    void Read() {
        evbuffer* const input = bufferevent_get_input(m_stream);
        if (m_dropsBody) {
            evbuffer_drain(input, evbuffer_get_length(input));
            return;
        }
        const evbuffer_ptr end = evbuffer_search(input, "\r\n\r\n", 4, nullptr);
        if (end.pos < 0 || m_answering) {
            return;
        }
        const auto headLength = static_cast<std::size_t>(end.pos) + 4;
        const std::string head(reinterpret_cast<const char*>(evbuffer_pullup(input, end.pos + 4)),
                               headLength);
        const std::size_t target = head.find(' ') + 1;
        m_target = head.substr(target, head.find(' ', target) - target);
        const std::size_t length = head.find("Content-Length: ");
        const auto body =
            length == std::string::npos ? 0 : static_cast<std::size_t>(std::atol(head.c_str() + length + 16));
        if (!Asks("/early")) {
            if (evbuffer_get_length(input) < headLength + body) {
                return; // the rest is on its way
            }
            evbuffer_drain(input, headLength + body);
        }
        m_answering = true;
        Act();
    }

    bool Asks(std::string_view path) const { return m_target.compare(0, path.size(), path) == 0; }

    void Act() {
        if (Asks("/slow/")) {
            Later(std::atoi(m_target.c_str() + 6), [](Conversation& self) { self.Answer(self.m_target); });
        } else if (Asks("/drip")) {
            Write("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\n");
            Drip(10);
        } else if (Asks("/big")) {
            Answer(std::string(BIG, 'b'));
        } else if (Asks("/busy")) {
            static unsigned count = 0;
            ++count % 4 != 0 ? Answer("busy", "503 Service Unavailable") : Answer(m_target);
        } else if (Asks("/close")) {
            m_closes = true;
            Answer(m_target, "200 OK\r\nConnection: close");
        } else if (Asks("/early")) {
            m_dropsBody =
                true; // and the other side closes: an answer that overtook its request ends the connection
            Answer("too long", "413 Content Too Large\r\nConnection: close");
        } else if (Asks("/short")) {
            m_closes = true;
            Write("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nshort");
        } else if (Asks("/torn")) {
            Write("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\ntorn");
            Later(5, [](Conversation& self) { self.Reset(); });
        } else if (Asks("/reset")) {
            Reset();
        } else if (!Asks("/deaf")) {
            Answer(m_target);
        }
    }

    void Write(const std::string& bytes) { bufferevent_write(m_stream, bytes.data(), bytes.size()); }

    void Answer(const std::string& body, const std::string& status = "200 OK") {
        m_answering = false;
        Write("HTTP/1.1 " + status + "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" +
              body);
    }

    void Drip(int left) {
        m_dripsLeft = left;
        Later(20, [](Conversation& self) {
            self.Write("x");
            if (--self.m_dripsLeft > 0) {
                self.Drip(self.m_dripsLeft);
            } else {
                self.m_answering = false;
            }
        });
    }

    void Later(int milliseconds, void (*then)(Conversation&)) {
        m_later = then;
        if (m_timer == nullptr) {
            m_timer = event_new(g_base, -1, 0, &OnTimer, this);
        }
        const timeval pause{milliseconds / 1000, milliseconds % 1000 * 1000L};
        event_add(m_timer, &pause);
    }

    void Reset() {
        const linger hard{1, 0};
        setsockopt(bufferevent_getfd(m_stream), SOL_SOCKET, SO_LINGER, &hard, sizeof hard);
        delete this;
    }

    bufferevent* m_stream;
    event* m_timer;
    void (*m_later)(Conversation&) = nullptr;
    std::string m_target;
    bool m_answering = false;
    bool m_dropsBody = false;
    bool m_closes = false; ///< when all is written
    int m_dripsLeft = 0;
};

void OnAccept(evconnlistener* /*listener*/, evutil_socket_t fd, sockaddr* /*from*/, int /*size*/,
              void* /*none*/) {
    new Conversation(fd);
}

} // namespace

int ServeFaultily(int port, int announce) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    std::signal(SIGPIPE, SIG_IGN);
    rlimit files{};
    getrlimit(RLIMIT_NOFILE, &files);
    files.rlim_cur = files.rlim_max;
    setrlimit(RLIMIT_NOFILE, &files);
    g_base = event_base_new();
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    auto* const any = reinterpret_cast<sockaddr*>(&address);
    evconnlistener* const listener = evconnlistener_new_bind(
        g_base, &OnAccept, nullptr, LEV_OPT_REUSEABLE | LEV_OPT_CLOSE_ON_FREE | LEV_OPT_CLOSE_ON_EXEC,
        SOMAXCONN, any, sizeof address);
    socklen_t size = sizeof address;
    if (listener == nullptr || getsockname(evconnlistener_get_fd(listener), any, &size) != 0) {
        return 1;
    }
    const int bound = ntohs(address.sin_port);
    if (write(announce, &bound, sizeof bound) != sizeof bound) {
        return 1;
    }
    event_base_dispatch(g_base);
    return 1;
}
