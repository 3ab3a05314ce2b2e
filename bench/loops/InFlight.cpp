// SPDX-License-Identifier: Apache-2.0
// Many calls at once against a server that answers each after a second: what the engine's loop takes for them beside a
// bare epoll loop, in processor time and memory, and how long Cancel() takes to its outcome.
//   httpclient-inflight [calls [backlog of the listener [microseconds that it takes for each connection]]]
#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/epoll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <httpclient/Client.h>
#include <httpclient/Engine.h>

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

constexpr char ANSWER[] = "HTTP/1.1 200 OK\r\nContent-Length: 6\r\n\r\nanswer";
constexpr char REQUEST[] = "GET / HTTP/1.1\r\nHost: 127.0.0.1\r\nUser-Agent: bare\r\n\r\n";

[[noreturn]] void Give(const char* what) {
    std::perror(what);
    std::exit(1);
}

int Listen(unsigned short& port, int backlog) {
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* const any = reinterpret_cast<sockaddr*>(&address);
    if (fd < 0 || bind(fd, any, size) != 0 || listen(fd, backlog) != 0 || getsockname(fd, any, &size) != 0) {
        Give("listen");
    }
    port = ntohs(address.sin_port);
    return fd;
}

/// Answers each request a second after it came.
[[noreturn]] void Serve(int listener, useconds_t pause) {
    const int loop = epoll_create1(EPOLL_CLOEXEC);
    epoll_event event{EPOLLIN, {}};
    event.data.fd = listener;
    epoll_ctl(loop, EPOLL_CTL_ADD, listener, &event);
    std::deque<std::pair<Clock::time_point, int>> due;
    std::vector<epoll_event> events(1024);
    for (;;) {
        const auto left =
            due.empty() ? 1000ms
                        : std::chrono::ceil<std::chrono::milliseconds>(due.front().first - Clock::now());
        const int count = epoll_wait(loop, events.data(), static_cast<int>(events.size()),
                                     static_cast<int>(std::max<long>(0, left.count())));
        for (int index = 0; index < count; ++index) {
            const int fd = events[static_cast<std::size_t>(index)].data.fd;
            if (fd == listener) {
                int one = 0;
                while ((one = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK)) >= 0) {
                    event.data.fd = one;
                    epoll_ctl(loop, EPOLL_CTL_ADD, one, &event);
                    if (pause > 0) {
                        usleep(pause);
                        break; // the others meanwhile
                    }
                }
                continue;
            }
            char room[2048];
            const ssize_t got = recv(fd, room, sizeof room, 0); // a small request comes in one piece
            if (got > 0) {
                due.emplace_back(Clock::now() + 1s, fd);
            } else if (got == 0 || errno != EAGAIN) {
                due.erase(std::remove_if(due.begin(), due.end(),
                                         [fd](const auto& one) { return one.second == fd; }),
                          due.end());
                close(fd);
            }
        }
        while (!due.empty() && due.front().first <= Clock::now()) {
            send(due.front().second, ANSWER, sizeof ANSWER - 1, MSG_NOSIGNAL);
            due.pop_front();
        }
    }
}

struct Used {
    double processor;
    double wall;
    long memory; ///< KiB, the most so far
};

Used Now() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    return {seconds(usage.ru_utime) + seconds(usage.ru_stime),
            std::chrono::duration<double>(Clock::now().time_since_epoch()).count(), usage.ru_maxrss};
}

void Report(const char* what, const Used& before, std::size_t calls) {
    const Used after = Now();
    std::printf("%-28s %7.0f ms processor %7.0f ms wall %7.1f KiB a call\n", what,
                (after.processor - before.processor) * 1e3, (after.wall - before.wall) * 1e3,
                static_cast<double>(after.memory - before.memory) / static_cast<double>(calls));
}

struct Server {
    int backlog = SOMAXCONN;
    useconds_t pause = 0; ///< for each connection
};

/// A peer runs in a process of its own, so that its memory and its time are its alone; and against a server of its own:
/// the ports that the one before has left would be looked through for each connection.
void WithServer(const Server& like, const std::function<void(unsigned short port)>& run) {
    std::fflush(stdout);
    unsigned short port = 0;
    const int listener = Listen(port, like.backlog);
    const pid_t server = fork();
    if (server == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        Serve(listener, like.pause);
    }
    close(listener);
    const pid_t peer = fork();
    if (peer == 0) {
        run(port);
        std::fflush(stdout);
        _exit(0);
    }
    waitpid(peer, nullptr, 0);
    kill(server, SIGKILL);
    waitpid(server, nullptr, 0);
}

void BareLoop(unsigned short port, std::size_t calls) {
    const Used before = Now();
    const int loop = epoll_create1(EPOLL_CLOEXEC);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    std::vector<int> sockets;
    std::vector<epoll_event> events(1024);
    for (std::size_t number = 0; number < calls; ++number) {
        const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
        connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address);
        epoll_event event{EPOLLOUT, {}};
        event.data.fd = fd;
        epoll_ctl(loop, EPOLL_CTL_ADD, fd, &event);
        sockets.push_back(fd);
    }
    const auto run = [&](std::size_t left) {
        while (left > 0) {
            const int count = epoll_wait(loop, events.data(), static_cast<int>(events.size()), -1);
            for (int index = 0; index < count; ++index) {
                epoll_event event = events[static_cast<std::size_t>(index)];
                const int fd = event.data.fd;
                if ((event.events & EPOLLOUT) != 0) {
                    send(fd, REQUEST, sizeof REQUEST - 1, MSG_NOSIGNAL);
                    event.events = EPOLLIN;
                    epoll_ctl(loop, EPOLL_CTL_MOD, fd, &event);
                    continue;
                }
                char room[2048];
                if (recv(fd, room, sizeof room, 0) > 0) {
                    --left;
                }
            }
        }
    };
    run(calls);
    Report("epoll, new connections", before, calls);
    const Used again = Now();
    for (const int fd : sockets) {
        send(fd, REQUEST, sizeof REQUEST - 1, MSG_NOSIGNAL);
    }
    run(calls);
    Report("epoll, kept connections", again, calls);
}

/// Counts down.
class Latch {
public:
    explicit Latch(std::size_t count) : m_left(count) {}
    void Down() {
        if (m_left.fetch_sub(1) == 1) {
            const std::lock_guard<std::mutex> lock(m_lock);
            m_over = true;
            m_changed.notify_all();
        }
    }
    void Wait() {
        std::unique_lock<std::mutex> lock(m_lock);
        m_changed.wait(lock, [this] { return m_over; });
    }

private:
    std::atomic<std::size_t> m_left;
    std::mutex m_lock;
    std::condition_variable m_changed;
    bool m_over = false;
};

httpclient::Client ClientOf(httpclient::Engine& engine, unsigned short port) {
    return {httpclient::ClientOptions("http://127.0.0.1:" + std::to_string(port))
                .timeout(60s)
                .connectTimeout(60s),
            engine};
}

void EnginesLoop(unsigned short port, std::size_t calls) {
    const Used before = Now();
    httpclient::Engine engine(httpclient::EngineOptions().maxConnections(calls, calls).maxWaiting(calls));
    const httpclient::Client client = ClientOf(engine, port);
    const auto run = [&] {
        Latch latch(calls);
        std::atomic<std::size_t> failed{0};
        for (std::size_t number = 0; number < calls; ++number) {
            client.Start(httpclient::Request(httpclient::Method::Get, "/"),
                         [&](const httpclient::Result& result) {
                             failed += result ? 0 : 1;
                             latch.Down();
                         });
        }
        latch.Wait();
        if (failed != 0) {
            std::printf("%zu calls failed\n", failed.load());
        }
    };
    run();
    Report("engine, new connections", before, calls);
    const Used again = Now();
    run();
    Report("engine, kept connections", again, calls);
}

void Cancelling(unsigned short port) {
    httpclient::Engine engine;
    const httpclient::Client client = ClientOf(engine, port);
    std::vector<double> micros;
    for (int round = 0; round < 200; ++round) {
        Latch latch(1);
        Clock::time_point ended;
        httpclient::Call call =
            client.Start(httpclient::Request(httpclient::Method::Get, "/"), [&](const httpclient::Result&) {
                ended = Clock::now();
                latch.Down();
            });
        usleep(5000);
        const Clock::time_point begun = Clock::now();
        call.Cancel();
        latch.Wait();
        micros.push_back(std::chrono::duration<double, std::micro>(ended - begun).count());
    }
    std::sort(micros.begin(), micros.end());
    std::printf("Cancel() to the outcome: median %.0f us, 99 %% %.0f us\n", micros[micros.size() / 2],
                micros[micros.size() * 99 / 100]);
}

} // namespace

int main(int argc, char** argv) {
    const std::size_t calls = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 10'000;
    rlimit files{};
    getrlimit(RLIMIT_NOFILE, &files);
    files.rlim_cur = files.rlim_max;
    setrlimit(RLIMIT_NOFILE, &files);
    Server server;
    server.backlog = argc > 2 ? std::atoi(argv[2]) : SOMAXCONN;
    server.pause = argc > 3 ? static_cast<useconds_t>(std::atoi(argv[3])) : 0;
    WithServer(server, [&](unsigned short port) { BareLoop(port, calls); });
    WithServer(server, [&](unsigned short port) { EnginesLoop(port, calls); });
    WithServer(server, [](unsigned short port) { Cancelling(port); });
}
