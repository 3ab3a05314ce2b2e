// SPDX-License-Identifier: Apache-2.0
// What an event loop adds to epoll, for the work that calls give it: a socket is registered for reading, becomes
// readable once, is read, and leaves the loop. Each pass does so with all sockets; the time is that of one socket.
#include <memory>
#include <stdexcept>
#include <vector>

#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <ace/Dev_Poll_Reactor.h>
#include <ace/Event_Handler.h>
#include <ace/Reactor.h>
#include <benchmark/benchmark.h>
#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <event2/event.h>
#include <event2/event_struct.h>

namespace {

constexpr int BATCH = 64; ///< events taken at once where a loop lets us choose, as libevent and Asio do

/// Connected pairs of sockets; the loop watches the first of each.
class Pairs {
public:
    explicit Pairs(std::size_t count) {
        for (std::size_t made = 0; made < count; ++made) {
            int ends[2];
            if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, ends) != 0) {
                throw std::runtime_error("socketpair: too few descriptors");
            }
            m_watched.push_back(ends[0]);
            m_peers.push_back(ends[1]);
        }
    }
    ~Pairs() {
        for (std::size_t index = 0; index < m_watched.size(); ++index) {
            close(m_watched[index]);
            close(m_peers[index]);
        }
    }
    Pairs(const Pairs&) = delete;
    Pairs& operator=(const Pairs&) = delete;

    const std::vector<int>& watched() const { return m_watched; }
    void MakeReadable() const {
        for (const int peer : m_peers) {
            benchmark::DoNotOptimize(write(peer, "x", 1));
        }
    }

private:
    std::vector<int> m_watched;
    std::vector<int> m_peers;
};

void Read(int fd) {
    char byte = 0;
    benchmark::DoNotOptimize(read(fd, &byte, 1));
}

void BareEpoll(benchmark::State& state) {
    const Pairs pairs(static_cast<std::size_t>(state.range(0)));
    const int epoll = epoll_create1(EPOLL_CLOEXEC);
    for (auto pass : state) {
        for (const int fd : pairs.watched()) {
            epoll_event wanted{EPOLLIN, {}};
            wanted.data.fd = fd;
            epoll_ctl(epoll, EPOLL_CTL_ADD, fd, &wanted);
        }
        pairs.MakeReadable();
        for (std::size_t left = pairs.watched().size(); left > 0;) {
            epoll_event ready[BATCH];
            const int count = epoll_wait(epoll, ready, BATCH, -1);
            for (int index = 0; index < count; ++index, --left) {
                epoll_ctl(epoll, EPOLL_CTL_DEL, ready[index].data.fd, nullptr);
                Read(ready[index].data.fd);
            }
        }
    }
    close(epoll);
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void Libevent(benchmark::State& state) {
    const Pairs pairs(static_cast<std::size_t>(state.range(0)));
    const std::unique_ptr<event_config, void (*)(event_config*)> config(event_config_new(),
                                                                        &event_config_free);
    event_config_set_flag(config.get(), EVENT_BASE_FLAG_NOLOCK | EVENT_BASE_FLAG_NO_CACHE_TIME);
    const std::unique_ptr<event_base, void (*)(event_base*)> base(event_base_new_with_config(config.get()),
                                                                  &event_base_free);
    std::vector<event> events(pairs.watched().size());
    std::size_t left = 0;
    const auto onReadable = [](int fd, short, void* count) {
        Read(fd);
        --*static_cast<std::size_t*>(count);
    };
    for (auto pass : state) {
        left = events.size();
        for (std::size_t index = 0; index < events.size(); ++index) {
            event_assign(&events[index], base.get(), pairs.watched()[index], EV_READ, onReadable, &left);
            event_add(&events[index], nullptr);
        }
        pairs.MakeReadable();
        while (left > 0) {
            event_base_loop(base.get(), EVLOOP_ONCE);
        }
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

/// A descriptor leaves Asio's set only by release(), and is registered when it is given to it.
void Asio(benchmark::State& state) {
    using boost::asio::posix::stream_descriptor;
    const Pairs pairs(static_cast<std::size_t>(state.range(0)));
    boost::asio::io_context context(BOOST_ASIO_CONCURRENCY_HINT_UNSAFE);
    std::vector<stream_descriptor> descriptors;
    for (std::size_t index = 0; index < pairs.watched().size(); ++index) {
        descriptors.emplace_back(context);
    }
    for (auto pass : state) {
        for (std::size_t index = 0; index < descriptors.size(); ++index) {
            stream_descriptor& descriptor = descriptors[index];
            descriptor.assign(pairs.watched()[index]);
            descriptor.async_wait(stream_descriptor::wait_read, [&descriptor](boost::system::error_code) {
                Read(descriptor.native_handle());
                descriptor.release();
            });
        }
        pairs.MakeReadable();
        context.restart();
        context.run();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

class AceHandler final : public ACE_Event_Handler {
public:
    int fd = -1;
    std::size_t* left = nullptr;

    ACE_HANDLE get_handle() const override { return fd; }
    int handle_input(ACE_HANDLE handle) override {
        Read(handle);
        --*left;
        return -1; // takes it out
    }
    int handle_close(ACE_HANDLE /*handle*/, ACE_Reactor_Mask /*mask*/) override { return 0; }
};

void Ace(benchmark::State& state) {
    const Pairs pairs(static_cast<std::size_t>(state.range(0)));
    ACE_Reactor reactor(new ACE_Dev_Poll_Reactor(), true);
    std::vector<AceHandler> handlers(pairs.watched().size());
    std::size_t left = 0;
    for (auto pass : state) {
        left = handlers.size();
        for (std::size_t index = 0; index < handlers.size(); ++index) {
            handlers[index].fd = pairs.watched()[index];
            handlers[index].left = &left;
            reactor.register_handler(&handlers[index], ACE_Event_Handler::READ_MASK);
        }
        pairs.MakeReadable();
        while (left > 0) {
            reactor.handle_events();
        }
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

BENCHMARK(BareEpoll)->Arg(16)->Arg(256)->Arg(4096);
BENCHMARK(Libevent)->Arg(16)->Arg(256)->Arg(4096);
BENCHMARK(Asio)->Arg(16)->Arg(256)->Arg(4096);
BENCHMARK(Ace)->Arg(16)->Arg(256)->Arg(4096);

} // namespace

BENCHMARK_MAIN();
