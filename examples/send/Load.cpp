// SPDX-License-Identifier: Apache-2.0
#include "send/Load.h"

#include <condition_variable>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace sender {
namespace {

using Clock = std::chrono::steady_clock;

/// The work that the threads share.
class Work {
public:
    Work(const Options& options, const std::function<SendOne()>& sendOfThread, const std::atomic<bool>& stop)
        : m_options(options), m_sendOfThread(sendOfThread), m_stop(stop) {}

    void RunThread() {
        Tally own;
        const SendOne send = m_sendOfThread();
        while (!m_stop && m_taken++ < m_options.repeat) {
            own.Add(send());
            ++m_done;
        }
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_tally.Add(own);
        ++m_finishedThreads;
        m_finished.notify_all();
    }

    /// Draws until every thread is through.
    void Watch(ProgressBar& progress) {
        std::unique_lock<std::mutex> lock(m_mutex);
        while (!m_finished.wait_for(lock, REDRAW_EVERY,
                                    [this] { return m_finishedThreads == m_options.threads; })) {
            progress.Draw(m_done);
        }
    }

    Tally TakeTally() { return std::move(m_tally); }

private:
    const Options& m_options;
    const std::function<SendOne()>& m_sendOfThread;
    const std::atomic<bool>& m_stop;
    std::atomic<std::uint64_t> m_taken{0};
    std::atomic<std::uint64_t> m_done{0};
    std::mutex m_mutex; ///< guards what follows
    std::condition_variable m_finished;
    unsigned int m_finishedThreads = 0;
    Tally m_tally;
};

} // namespace

Tally SendOnThreads(const Options& options, const std::function<SendOne()>& sendOfThread,
                    ProgressBar& progress, const std::atomic<bool>& stop) {
    Work work(options, sendOfThread, stop);
    std::vector<std::thread> threads;
    for (unsigned int count = 0; count < options.threads; ++count) {
        threads.emplace_back([&work] { work.RunThread(); });
    }
    work.Watch(progress);
    for (std::thread& thread : threads) {
        thread.join();
    }
    return work.TakeTally();
}

} // namespace sender
