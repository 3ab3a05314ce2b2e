// SPDX-License-Identifier: Apache-2.0
// The queue of jobs by itself: who is woken for them.
#include "engine/Jobs.h"

#include <condition_variable>
#include <mutex>

#include <pthread.h>

#include <gtest/gtest.h>

#include <httpclient/testing/Patience.h>

using namespace httpclient::engine;

namespace {

/// Where jobs wait for each other.
class Meeting {
public:
    explicit Meeting(unsigned size) : m_missing(size) {}

    void Come() {
        std::unique_lock<std::mutex> lock(m_lock);
        if (--m_missing == 0) {
            m_all.notify_all();
        }
        Wait(lock);
    }
    bool AllCome() {
        std::unique_lock<std::mutex> lock(m_lock);
        return Wait(lock);
    }

private:
    bool Wait(std::unique_lock<std::mutex>& lock) {
        return m_all.wait_for(lock, httpclient::testing::PATIENCE, [this] { return m_missing == 0; });
    }

    std::mutex m_lock;
    std::condition_variable m_all;
    unsigned m_missing;
};

class Comes final : public Job {
public:
    explicit Comes(std::shared_ptr<Meeting> meeting) : m_meeting(std::move(meeting)) {}
    void Run() override { m_meeting->Come(); }

private:
    std::shared_ptr<Meeting> m_meeting;
};

/// Comes to a meeting when its thread ends.
struct Farewell {
    std::shared_ptr<Meeting> meeting;
    ~Farewell() {
        if (meeting) {
            meeting->Come();
        }
    }
};

thread_local Farewell t_farewell;

/// Leaves its thread a cancellation, which acts when that sleeps.
class CancelsItsThread final : public Job {
public:
    explicit CancelsItsThread(std::shared_ptr<Meeting> meeting) : m_meeting(std::move(meeting)) {}
    void Run() override {
        t_farewell.meeting = m_meeting;
        pthread_cancel(pthread_self());
    }

private:
    std::shared_ptr<Meeting> m_meeting;
};

/// Queues so many jobs that wait for each other. @return whether all have run.
bool AllMeet(Jobs& jobs, unsigned count) {
    const auto meeting = std::make_shared<Meeting>(count);
    for (unsigned number = 0; number < count; ++number) {
        EXPECT_TRUE(jobs.Add(std::make_shared<Comes>(meeting)));
    }
    return meeting->AllCome();
}

} // namespace

TEST(Jobs, ThatComeAtOnceHaveAllThreadsThoughOneIsWokenAtATime) {
    constexpr unsigned THREADS = 4;
    Jobs jobs(THREADS, std::nullopt);
    jobs.Start();
    for (int round = 0; round < 50 && !::testing::Test::HasFailure();
         ++round) { // the threads sleep, or are about to
        EXPECT_TRUE(AllMeet(jobs, THREADS));
    }
    jobs.Finish();
}

TEST(Jobs, AreRunByTheOthersWhileOneWaits) {
    constexpr unsigned THREADS = 2;
    Jobs jobs(THREADS, std::nullopt);
    jobs.Start();
    const auto longOne = std::make_shared<Meeting>(2);
    EXPECT_TRUE(jobs.Add(std::make_shared<Comes>(longOne)));
    for (int round = 0; round < 50 && !::testing::Test::HasFailure(); ++round) {
        EXPECT_TRUE(AllMeet(jobs, 1));
    }
    longOne->Come();
    jobs.Finish();
}

TEST(Jobs, AreRunAfterAThreadWasCancelledInItsSleep) {
    Jobs jobs(1, std::nullopt);
    jobs.Start();
    const auto end = std::make_shared<Meeting>(1);
    EXPECT_TRUE(jobs.Add(std::make_shared<CancelsItsThread>(end)));
    ASSERT_TRUE(end->AllCome());
    const auto longOne = std::make_shared<Meeting>(2);
    EXPECT_TRUE(jobs.Add(std::make_shared<Comes>(longOne)));
    // One that comes while no thread sleeps.
    const auto next = std::make_shared<Meeting>(1);
    EXPECT_TRUE(jobs.Add(std::make_shared<Comes>(next)));
    longOne->Come();
    EXPECT_TRUE(next->AllCome());
    for (int round = 0; round < 50 && !::testing::Test::HasFailure(); ++round) {
        EXPECT_TRUE(AllMeet(jobs, 1));
    }
    jobs.Finish();
}
