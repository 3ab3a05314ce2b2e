// SPDX-License-Identifier: Apache-2.0
// libcurl's multi handle, driven by epoll as its manual shows (curl_multi_socket_action).
#include <stdexcept>

#include <sys/epoll.h>
#include <unistd.h>

#include <curl/curl.h>

#include "../Crowd.h"

namespace {

void Check(CURLMcode code) {
    if (code != CURLM_OK) {
        throw std::runtime_error(curl_multi_strerror(code));
    }
}

/// A handle, kept for one call after another.
class Transfer {
public:
    explicit Transfer(const std::string& url) : m_curl(curl_easy_init()) {
        curl_easy_setopt(m_curl, CURLOPT_URL, url.c_str());
        curl_easy_setopt(m_curl, CURLOPT_WRITEFUNCTION, &Append);
        curl_easy_setopt(m_curl, CURLOPT_WRITEDATA, &m_body);
        curl_easy_setopt(m_curl, CURLOPT_NOSIGNAL, 1L);
        curl_easy_setopt(m_curl, CURLOPT_TIMEOUT, static_cast<long>(DEADLINE.count()));
        curl_easy_setopt(m_curl, CURLOPT_CONNECTTIMEOUT, static_cast<long>(DEADLINE.count()));
        curl_easy_setopt(m_curl, CURLOPT_PRIVATE, this);
    }
    ~Transfer() { curl_easy_cleanup(m_curl); }
    Transfer(const Transfer&) = delete;
    Transfer& operator=(const Transfer&) = delete;

    static Transfer& Of(CURL* curl) {
        Transfer* self = nullptr;
        curl_easy_getinfo(curl, CURLINFO_PRIVATE, &self);
        return *self;
    }
    CURL* Handle() const { return m_curl; }
    /// Takes the body out, as a text.
    bool IsAnswer(CURLcode result) {
        long status = 0;
        curl_easy_getinfo(m_curl, CURLINFO_RESPONSE_CODE, &status);
        const std::string body = std::move(m_body);
        m_body.clear();
        return result == CURLE_OK && status == 200 && body.size() == ANSWER_BYTES;
    }

private:
    static size_t Append(char* data, size_t size, size_t count, void* to) {
        static_cast<std::string*>(to)->append(data, size * count);
        return size * count;
    }

    CURL* m_curl;
    std::string m_body;
};

class CurlMulti : public Crowd {
public:
    explicit CurlMulti(const CrowdTarget& target)
        : m_url(target.Origin() + "/128"), m_loop(epoll_create1(EPOLL_CLOEXEC)), m_events(1024),
          m_multi(curl_multi_init()) {
        curl_multi_setopt(m_multi, CURLMOPT_SOCKETFUNCTION, &CurlMulti::OnSocket);
        curl_multi_setopt(m_multi, CURLMOPT_SOCKETDATA, this);
        curl_multi_setopt(m_multi, CURLMOPT_TIMERFUNCTION, &CurlMulti::OnTimer);
        curl_multi_setopt(m_multi, CURLMOPT_TIMERDATA, this);
        curl_multi_setopt(m_multi, CURLMOPT_MAXCONNECTS, static_cast<long>(target.most));
    }
    ~CurlMulti() override {
        m_transfers.clear();
        curl_multi_cleanup(m_multi);
        close(m_loop);
    }

    Tally Run(std::size_t inFlight, Clock::time_point until) override {
        while (m_transfers.size() < inFlight) {
            m_transfers.push_back(std::make_unique<Transfer>(m_url));
        }
        m_tally = {};
        m_until = until;
        m_left = inFlight;
        for (std::size_t index = 0; index < inFlight; ++index) {
            Check(curl_multi_add_handle(m_multi, m_transfers[index]->Handle()));
        }
        while (m_left > 0) {
            Turn();
        }
        return m_tally;
    }

private:
    void Turn() {
        const int count =
            epoll_wait(m_loop, m_events.data(), static_cast<int>(m_events.size()), MillisecondsLeft());
        for (int index = 0; index < count; ++index) {
            const epoll_event& event = m_events[static_cast<std::size_t>(index)];
            const int action = ((event.events & EPOLLIN) != 0 ? CURL_CSELECT_IN : 0) |
                               ((event.events & EPOLLOUT) != 0 ? CURL_CSELECT_OUT : 0) |
                               ((event.events & (EPOLLERR | EPOLLHUP)) != 0 ? CURL_CSELECT_ERR : 0);
            Act(event.data.fd, action);
        }
        if (m_timer != NEVER && Clock::now() >= m_timer) {
            m_timer = NEVER;
            Act(CURL_SOCKET_TIMEOUT, 0);
        }
        int left = 0;
        while (const CURLMsg* message = curl_multi_info_read(m_multi, &left)) {
            Ended(message->easy_handle, message->data.result);
        }
    }
    int MillisecondsLeft() const {
        if (m_timer == NEVER) {
            return -1;
        }
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(m_timer - Clock::now());
        return static_cast<int>(left.count() > 0 ? left.count() : 0);
    }
    void Act(curl_socket_t fd, int action) {
        int running = 0;
        Check(curl_multi_socket_action(m_multi, fd, action, &running));
    }
    void Ended(CURL* curl, CURLcode result) {
        ++(Transfer::Of(curl).IsAnswer(result) ? m_tally.answered : m_tally.failed);
        Check(curl_multi_remove_handle(m_multi, curl));
        if (Clock::now() < m_until) {
            Check(curl_multi_add_handle(m_multi, curl));
        } else {
            --m_left;
        }
    }
    static int OnSocket(CURL* /*curl*/, curl_socket_t fd, int what, void* crowd, void* known) {
        const CurlMulti& self = *static_cast<CurlMulti*>(crowd);
        epoll_event event{
            ((what & CURL_POLL_IN) != 0 ? EPOLLIN : 0U) | ((what & CURL_POLL_OUT) != 0 ? EPOLLOUT : 0U), {}};
        event.data.fd = fd;
        if (what == CURL_POLL_REMOVE) {
            epoll_ctl(self.m_loop, EPOLL_CTL_DEL, fd, nullptr);
        } else {
            epoll_ctl(self.m_loop, known == nullptr ? EPOLL_CTL_ADD : EPOLL_CTL_MOD, fd, &event);
            curl_multi_assign(self.m_multi, fd, crowd);
        }
        return 0;
    }
    static int OnTimer(CURLM* /*multi*/, long milliseconds, void* crowd) {
        static_cast<CurlMulti*>(crowd)->m_timer =
            milliseconds < 0 ? NEVER : Clock::now() + std::chrono::milliseconds(milliseconds);
        return 0;
    }

    static constexpr Clock::time_point NEVER = Clock::time_point::max();

    std::string m_url;
    int m_loop;
    std::vector<epoll_event> m_events;
    CURLM* m_multi;
    std::vector<std::unique_ptr<Transfer>> m_transfers;
    Clock::time_point m_timer = NEVER;
    Tally m_tally;
    Clock::time_point m_until;
    std::size_t m_left = 0;
};

} // namespace

std::unique_ptr<Crowd> MakeCurlMulti(const CrowdTarget& target) {
    return std::make_unique<CurlMulti>(target);
}
