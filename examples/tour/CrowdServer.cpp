// SPDX-License-Identifier: Apache-2.0
#include "tour/CrowdServer.h"

#include <array>
#include <set>
#include <stdexcept>
#include <string_view>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <event2/buffer.h>
#include <event2/bufferevent.h>
#include <event2/event.h>
#include <event2/listener.h>

namespace tour {
namespace {

constexpr std::string_view ANSWER =
    "HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\nContent-Length: 4\r\n\r\nhere";

template <auto FREE> struct Freeing {
    template <class Thing> void operator()(Thing* thing) const { FREE(thing); }
};
using Base = std::unique_ptr<event_base, Freeing<&event_base_free>>;
using Listener = std::unique_ptr<evconnlistener, Freeing<&evconnlistener_free>>;
using Event = std::unique_ptr<event, Freeing<&event_free>>;
using Stream = std::unique_ptr<bufferevent, Freeing<&bufferevent_free>>;

} // namespace

struct CrowdServer::Parts {
    /// One connection.
    struct Guest {
        Parts& host;
        Stream stream;
        Event timer;
    };

    explicit Parts(std::chrono::milliseconds itsPause) : pause(itsPause), base(event_base_new()) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        auto* const any = reinterpret_cast<sockaddr*>(&address);
        listener.reset(evconnlistener_new_bind(base.get(), &OnGuest, this,
                                               LEV_OPT_CLOSE_ON_FREE | LEV_OPT_CLOSE_ON_EXEC, SOMAXCONN, any,
                                               sizeof address));
        if (!listener || pipe(stopPipe.data()) != 0) {
            throw std::runtime_error("cannot listen on 127.0.0.1");
        }
        stop.reset(event_new(
            base.get(), stopPipe[0], EV_READ,
            [](int, short, void* of) { event_base_loopbreak(static_cast<event_base*>(of)); }, base.get()));
        event_add(stop.get(), nullptr);
    }
    ~Parts() {
        close(stopPipe[0]);
        close(stopPipe[1]);
    }
    Parts(const Parts&) = delete;
    Parts& operator=(const Parts&) = delete;

    static void OnGuest(evconnlistener* /*listener*/, int fd, sockaddr* /*from*/, int /*size*/, void* self) {
        Parts& parts = *static_cast<Parts*>(self);
        auto guest = std::make_unique<Guest>(Guest{parts, nullptr, nullptr});
        guest->stream.reset(bufferevent_socket_new(parts.base.get(), fd, BEV_OPT_CLOSE_ON_FREE));
        guest->timer.reset(event_new(parts.base.get(), -1, 0, &OnTime, guest.get()));
        bufferevent_setcb(guest->stream.get(), &OnRequest, nullptr, &OnEnd, guest.get());
        bufferevent_enable(guest->stream.get(), EV_READ);
        parts.guests.insert(std::move(guest));
    }
    static void OnRequest(bufferevent* stream, void* self) {
        Guest& guest = *static_cast<Guest*>(self);
        evbuffer* const input = bufferevent_get_input(stream);
        if (evbuffer_search(input, "\r\n\r\n", 4, nullptr).pos >= 0) {
            evbuffer_drain(input, evbuffer_get_length(input));
            const timeval pause{0, static_cast<suseconds_t>(guest.host.pause.count() * 1000)};
            event_add(guest.timer.get(), &pause);
        }
    }
    static void OnTime(int /*fd*/, short /*what*/, void* self) {
        bufferevent_write(static_cast<Guest*>(self)->stream.get(), ANSWER.data(), ANSWER.size());
    }
    static void OnEnd(bufferevent* /*stream*/, short /*what*/, void* self) {
        auto& guests = static_cast<Guest*>(self)->host.guests;
        for (auto guest = guests.begin(); guest != guests.end(); ++guest) {
            if (guest->get() == self) {
                guests.erase(guest);
                return;
            }
        }
    }

    const std::chrono::milliseconds pause;
    std::array<int, 2> stopPipe{-1, -1};
    Base base;
    Listener listener;
    Event stop;
    std::set<std::unique_ptr<Guest>> guests;
};

CrowdServer::CrowdServer(std::chrono::milliseconds pause)
    : m_parts(std::make_unique<Parts>(pause)),
      m_thread([base = m_parts->base.get()] { event_base_dispatch(base); }) {}

CrowdServer::~CrowdServer() {
    static_cast<void>(!write(m_parts->stopPipe[1], "", 1));
    m_thread.join();
}

int CrowdServer::Port() const {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    getsockname(evconnlistener_get_fd(m_parts->listener.get()), reinterpret_cast<sockaddr*>(&address), &size);
    return ntohs(address.sin_port);
}

} // namespace tour
