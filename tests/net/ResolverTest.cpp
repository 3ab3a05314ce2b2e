// SPDX-License-Identifier: Apache-2.0
#include "net/Resolver.h"

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include <netdb.h>

#include <gtest/gtest.h>

#include <httpclient/testing/Patience.h>
#include <httpclient/testing/ResourceListener.h>

#include "interpose/ThreadCreate.h"
#include "net/Address.h"
#include "seam/Connects.h"
#include "seam/NameService.h"

using namespace httpclient::net;
using namespace std::chrono_literals;
using httpclient::testing::RefusedThread;

namespace {

/// Counts how often it is woken.
class Bell : public Waker {
public:
    void Wake() noexcept override {
        const std::lock_guard<std::mutex> lock(m_lock);
        ++m_rung;
        m_changed.notify_all();
    }
    bool WaitFor(int count) {
        std::unique_lock<std::mutex> lock(m_lock);
        return m_changed.wait_for(lock, httpclient::testing::PATIENCE, [&] { return m_rung >= count; });
    }
    int rung() const {
        const std::lock_guard<std::mutex> lock(m_lock);
        return m_rung;
    }

private:
    mutable std::mutex m_lock;
    std::condition_variable m_changed;
    int m_rung = 0;
};

class ResolverTest : public ::testing::Test {
protected:
    /// Asks, waits where it has to, and asks again.
    std::shared_ptr<const NameAnswer> Resolve(const std::string& name, Time now = Clock::now()) {
        const auto bell = std::make_shared<Bell>();
        auto answer = m_resolver.Find(name, now, bell);
        if (answer == nullptr) {
            EXPECT_TRUE(bell->WaitFor(1));
            answer = m_resolver.Find(name, now, bell);
        }
        EXPECT_NE(answer, nullptr);
        return answer;
    }

    /// Asks, at a time, until so many look-ups have begun. What it finds meanwhile is an old answer.
    void AskUntilAsked(const std::string& name, Time now, std::size_t count) {
        while (m_names.Asked(name) < count) {
            EXPECT_NE(m_resolver.Find(name, now, nullptr), nullptr);
            std::this_thread::yield();
        }
    }

    NameService m_names;
    Resolver m_resolver{30s};
};

std::vector<std::string> Texts(const NameAnswer& answer) {
    std::vector<std::string> texts;
    for (const Endpoint& endpoint : answer.endpoints) {
        char text[NI_MAXHOST];
        EXPECT_EQ(getnameinfo(reinterpret_cast<const sockaddr*>(&endpoint.address), endpoint.size, text,
                              sizeof text, nullptr, 0, NI_NUMERICHOST),
                  0);
        texts.emplace_back(text);
    }
    return texts;
}

using TextList = std::vector<std::string>;

} // namespace

TEST_F(ResolverTest, AnswersAddressesAtOnceWithoutAThread) {
    const RefusedThread refused;
    const auto four = m_resolver.Find("127.0.0.1", Clock::now(), nullptr);
    ASSERT_NE(four, nullptr);
    EXPECT_EQ(Texts(*four), TextList{"127.0.0.1"});
    const auto six = m_resolver.Find("::1", Clock::now(), nullptr);
    ASSERT_NE(six, nullptr);
    EXPECT_EQ(Texts(*six), TextList{"::1"});
    EXPECT_EQ(refused.Asked(), 0U);
}

TEST_F(ResolverTest, LooksANameUpOnAThreadOfItsOwnInTheOrderThatItIsGiven) {
    m_names.Set("db.test", {"2001:db8::1", "10.0.0.1", "10.0.0.2"});
    const auto answer = Resolve("db.test");
    EXPECT_FALSE(answer->error);
    EXPECT_EQ(Texts(*answer), (TextList{"2001:db8::1", "10.0.0.1", "10.0.0.2"}));
    EXPECT_TRUE(m_names.SignalsBlocked()) << "the host's signals are for the host's threads";
}

TEST_F(ResolverTest, KeepsAnAnswerForItsLifetime) {
    m_names.Set("db.test", {"10.0.0.1"});
    Resolve("db.test");
    const Time found = Clock::now();
    Resolve("db.test", found + 20s);
    EXPECT_EQ(m_names.Asked("db.test"), 1U);
}

TEST_F(ResolverTest, UsesAnOldAnswerWhileItLooksUpANewOne) {
    m_names.Set("db.test", {"10.0.0.1"});
    Resolve("db.test");
    m_names.Set("db.test", {"10.0.0.2"});
    m_names.Hold("db.test");
    const Time later = Clock::now() + 31s;
    const auto bell = std::make_shared<Bell>();
    const auto old = m_resolver.Find("db.test", later, bell);
    ASSERT_NE(old, nullptr) << "nobody waits for the second look-up";
    EXPECT_EQ(Texts(*old), TextList{"10.0.0.1"});
    ASSERT_TRUE(m_names.WaitForAsked("db.test", 2));
    EXPECT_EQ(Texts(*m_resolver.Find("db.test", later, bell)), TextList{"10.0.0.1"});
    EXPECT_EQ(m_names.Asked("db.test"), 2U) << "one look-up at a time";
    m_names.Release("db.test");
    while (Texts(*m_resolver.Find("db.test", Clock::now(), bell)) == TextList{"10.0.0.1"}) {
        std::this_thread::yield();
    }
    EXPECT_EQ(bell->rung(), 0) << "who has an answer is not woken";
}

TEST_F(ResolverTest, KeepsTheOldAnswerWhileANewOneCannotBeHad) {
    m_names.Set("db.test", {"10.0.0.1"});
    Resolve("db.test");
    m_names.Fail("db.test", EAI_AGAIN);
    const Time later = Clock::now() + 31s;
    EXPECT_EQ(Texts(*m_resolver.Find("db.test", later, nullptr)), TextList{"10.0.0.1"});
    AskUntilAsked("db.test", later + 24h, 3);
    EXPECT_EQ(Texts(*m_resolver.Find("db.test", later + 24h, nullptr)), TextList{"10.0.0.1"});
}

TEST_F(ResolverTest, SaysWhyANameIsNotFound) {
    m_names.Fail("none.test", EAI_NONAME);
    const auto answer = Resolve("none.test");
    EXPECT_TRUE(answer->endpoints.empty());
    EXPECT_EQ(answer->error, std::error_code(EAI_NONAME, ResolverCategory()));
    EXPECT_EQ(answer->error.message(), gai_strerror(EAI_NONAME));
    EXPECT_STREQ(ResolverCategory().name(), "resolver");
}

TEST_F(ResolverTest, RemembersNoWantOfMemory) {
    m_names.Fail("short.test", EAI_MEMORY);
    EXPECT_EQ(Resolve("short.test")->error, std::errc::not_enough_memory);
    m_names.Set("short.test", {"10.0.0.1"});
    EXPECT_FALSE(Resolve("short.test")->error);
}

TEST_F(ResolverTest, RemembersAFailureForASecond) {
    m_names.Fail("late.test", EAI_AGAIN);
    Resolve("late.test");
    const Time failed = Clock::now();
    const auto remembered = m_resolver.Find("late.test", failed, nullptr);
    ASSERT_NE(remembered, nullptr);
    EXPECT_EQ(remembered->error.value(), EAI_AGAIN);
    EXPECT_EQ(m_names.Asked("late.test"), 1U);
    m_names.Set("late.test", {"10.0.0.1"});
    EXPECT_FALSE(Resolve("late.test", failed + 1s)->error);
    EXPECT_EQ(m_names.Asked("late.test"), 2U);
}

TEST_F(ResolverTest, GivesWhoHasWaitedItsAnswerHoweverOldThatIs) {
    Resolver forgetful(0ms);
    m_names.Set("db.test", {"10.0.0.1"});
    m_names.Fail("none.test", EAI_NONAME);
    for (const char* name : {"db.test", "none.test"}) {
        const auto bell = std::make_shared<Bell>();
        ASSERT_EQ(forgetful.Find(name, Clock::now(), bell), nullptr);
        ASSERT_TRUE(bell->WaitFor(1));
        EXPECT_NE(forgetful.Find(name, Clock::now() + 10s, bell), nullptr) << name;
        EXPECT_EQ(m_names.Asked(name), 1U) << name;
        forgetful.Find(name, Clock::now() + 10s, bell);
        EXPECT_TRUE(m_names.WaitForAsked(name, 2)) << "once only: " << name;
    }
}

TEST_F(ResolverTest, GivesWhoAsksAnewNothingThatAnEarlierCallHasLeft) {
    m_names.Fail("db.test", EAI_AGAIN);
    const auto bell = std::make_shared<Bell>();
    ASSERT_EQ(m_resolver.Find("db.test", Clock::now(), bell, false), nullptr);
    ASSERT_TRUE(bell->WaitFor(1)) << "its call is over by then, and does not come back";
    m_names.Set("db.test", {"10.0.0.1"});
    const Time later = Clock::now() + 10s;
    EXPECT_EQ(m_resolver.Find("db.test", later, bell, false), nullptr) << "a look-up of its own";
    ASSERT_TRUE(bell->WaitFor(2));
    const auto answer = m_resolver.Find("db.test", later, bell);
    ASSERT_NE(answer, nullptr);
    EXPECT_FALSE(answer->error);
}

TEST_F(ResolverTest, LooksANameUpOnceForAllThatWait) {
    m_names.Set("db.test", {"10.0.0.1"});
    m_names.Hold("db.test");
    std::vector<std::shared_ptr<Bell>> bells;
    for (int i = 0; i < 20; ++i) {
        bells.push_back(std::make_shared<Bell>());
        EXPECT_EQ(m_resolver.Find("db.test", Clock::now(), bells.back()), nullptr);
        EXPECT_EQ(m_resolver.Find("db.test", Clock::now(), bells.back()), nullptr)
            << "asking twice is no harm";
    }
    ASSERT_TRUE(m_names.WaitForAsked("db.test", 1));
    m_names.Release("db.test");
    for (const auto& bell : bells) {
        ASSERT_TRUE(bell->WaitFor(1));
        EXPECT_NE(m_resolver.Find("db.test", Clock::now(), bell), nullptr);
        EXPECT_EQ(bell->rung(), 1);
    }
    EXPECT_EQ(m_names.Asked("db.test"), 1U);
}

TEST_F(ResolverTest, LetsASlowNameHoldUpNoOther) {
    m_names.Hold("slow.test");
    m_names.Set("fast.test", {"10.0.0.1"});
    const auto bell = std::make_shared<Bell>();
    EXPECT_EQ(m_resolver.Find("slow.test", Clock::now(), bell), nullptr);
    ASSERT_TRUE(m_names.WaitForAsked("slow.test", 1));
    EXPECT_FALSE(Resolve("fast.test")->error);
    EXPECT_EQ(bell->rung(), 0);
    m_names.Release("slow.test");
    EXPECT_TRUE(bell->WaitFor(1));
}

TEST_F(ResolverTest, HasAFewThreadsAndALineBeforeThem) {
    const std::size_t threads = httpclient::testing::Resources::Now().threads;
    const auto name = [](std::size_t number) { return "n" + std::to_string(number) + ".test"; };
    const auto bell = std::make_shared<Bell>();
    for (std::size_t i = 0; i < Resolver::MAX_THREADS + 2; ++i) {
        m_names.Set(name(i), {"10.0.0.1"});
        m_names.Hold(name(i));
        EXPECT_EQ(m_resolver.Find(name(i), Clock::now(), bell), nullptr);
    }
    for (std::size_t i = 0; i < Resolver::MAX_THREADS; ++i) {
        ASSERT_TRUE(m_names.WaitForAsked(name(i), 1));
    }
    EXPECT_EQ(m_names.Inside(), Resolver::MAX_THREADS);
    EXPECT_EQ(httpclient::testing::Resources::Now().threads, threads + Resolver::MAX_THREADS);
    for (std::size_t i = 0; i < Resolver::MAX_THREADS + 2; ++i) {
        m_names.Release(name(i));
    }
    EXPECT_TRUE(bell->WaitFor(static_cast<int>(Resolver::MAX_THREADS) + 2));
}

TEST_F(ResolverTest, UsesItsThreadsAgain) {
    const RefusedThread counted(0);
    for (int i = 0; i < 50; ++i) {
        const std::string name = "n" + std::to_string(i) + ".test";
        m_names.Set(name, {"10.0.0.1"});
        Resolve(name);
    }
    EXPECT_LE(counted.Asked(), Resolver::MAX_THREADS);
}

TEST_F(ResolverTest, WaitsForNoLookUpAtItsEnd) {
    m_names.Hold("slow.test");
    auto bell = std::make_shared<Bell>();
    {
        Resolver resolver(30s);
        EXPECT_EQ(resolver.Find("slow.test", Clock::now(), bell), nullptr);
        ASSERT_TRUE(m_names.WaitForAsked("slow.test", 1));
    }
    m_names.Release("slow.test");
    while (bell.use_count() > 1) {
        std::this_thread::yield(); // the thread lets go of it
    }
    EXPECT_EQ(bell->rung(), 0);
}

TEST_F(ResolverTest, ThrowsWhereNoThreadCanBeStarted) {
    m_names.Set("db.test", {"10.0.0.1"});
    const auto bell = std::make_shared<Bell>();
    {
        const RefusedThread refused;
        EXPECT_THROW(m_resolver.Find("db.test", Clock::now(), bell), std::system_error);
    }
    EXPECT_EQ(m_names.Asked("db.test"), 0U);
    EXPECT_FALSE(Resolve("db.test", Clock::now() + 1s)->error) << "later it goes on";
}

TEST_F(ResolverTest, GoesOnWithTheThreadsThatThereAre) {
    m_names.Set("db.test", {"10.0.0.1"});
    m_names.Hold("slow.test");
    const auto bell = std::make_shared<Bell>();
    EXPECT_EQ(m_resolver.Find("slow.test", Clock::now(), bell), nullptr);
    ASSERT_TRUE(m_names.WaitForAsked("slow.test", 1));
    const RefusedThread refused;
    const auto other = std::make_shared<Bell>();
    EXPECT_THROW(m_resolver.Find("db.test", Clock::now(), other), std::system_error);
    m_names.Release("slow.test");
    EXPECT_TRUE(other->WaitFor(1)) << "the one thread comes to it";
}

TEST_F(ResolverTest, GivesTheOldAnswerWhereNoThreadCanBeStarted) {
    Resolver alone(30s);
    m_names.Set("db.test", {"10.0.0.1"});
    const auto bell = std::make_shared<Bell>();
    ASSERT_EQ(alone.Find("db.test", Clock::now(), bell), nullptr);
    ASSERT_TRUE(bell->WaitFor(1));
    m_names.Hold("slow.test");
    EXPECT_EQ(alone.Find("slow.test", Clock::now(), bell), nullptr);
    ASSERT_TRUE(m_names.WaitForAsked("slow.test", 1));
    const RefusedThread refused;
    EXPECT_NE(alone.Find("db.test", Clock::now() + 31s, bell), nullptr);
    m_names.Release("slow.test");
    EXPECT_TRUE(bell->WaitFor(2));
}

TEST_F(ResolverTest, AsksForNoNameThatCannotBeOne) {
    EXPECT_EQ(Resolve("")->error.value(), EAI_NONAME);
    EXPECT_EQ(Resolve(std::string("db.test\0.evil", 13))->error.value(), EAI_NONAME);
    EXPECT_EQ(m_names.Asked("db.test"), 0U);
}

TEST_F(ResolverTest, HasAnErrorWhereNoAddressIsOfUse) {
    m_names.Set("empty.test", {});
    EXPECT_EQ(Resolve("empty.test")->error.value(), EAI_NONAME);
}

TEST_F(ResolverTest, TellsTheSystemsErrorWhereItIsOne) {
    m_names.Fail("broken.test", EAI_SYSTEM);
    EXPECT_EQ(&Resolve("broken.test")->error.category(), &std::system_category());
}

TEST_F(ResolverTest, ForgetsTheNameThatWasNotAskedForForTheLongestTime) {
    const Time start = Clock::now();
    const auto name = [](std::size_t number) { return "n" + std::to_string(number) + ".test"; };
    for (std::size_t i = 0; i <= Resolver::MAX_NAMES; ++i) {
        m_names.Set(name(i), {"10.0.0.1"});
        Resolve(name(i), start + std::chrono::microseconds(i));
        Resolve(name(0), start + std::chrono::microseconds(i));
    }
    EXPECT_EQ(m_names.Asked(name(0)), 1U);
    Resolve(name(2), start);
    EXPECT_EQ(m_names.Asked(name(2)), 1U);
    Resolve(name(1), start);
    EXPECT_EQ(m_names.Asked(name(1)), 2U);
}

TEST_F(ResolverTest, ServesManyThreads) {
    std::atomic<int> right{0};
    for (int i = 0; i < 4; ++i) {
        m_names.Set("n" + std::to_string(i) + ".test", {"10.0.0." + std::to_string(i + 1)});
    }
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&, i] {
            for (int round = 0; round < 200; ++round) {
                const int number = (i + round) % 4;
                const auto answer =
                    Resolve("n" + std::to_string(number) + ".test", Clock::now() + round * 31s);
                right += Texts(*answer) == TextList{"10.0.0." + std::to_string(number + 1)} ? 1 : 0;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(right, 8 * 200);
}
