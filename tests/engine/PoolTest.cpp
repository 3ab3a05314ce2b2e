// SPDX-License-Identifier: Apache-2.0
// The pool: who gets which connection, and when one goes. Time is what the test says.
#include "engine/Pool.h"

#include <atomic>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "setting/ScriptedServer.h"

using namespace httpclient;
using namespace httpclient::engine;
using namespace std::chrono_literals;
using Answer = Pool::Answer;

namespace {

/// Counts how often it is rung.
class Bell : public Waker {
public:
    void Wake() noexcept override { ++m_rung; }
    int rung() const { return m_rung; }

private:
    std::atomic<int> m_rung{0};
};

/// A call, as the pool sees one.
struct Caller {
    Ticket ticket;
    std::shared_ptr<Bell> bell = std::make_shared<Bell>();
};

/// The far end of a connection.
class FarEnd {
public:
    explicit FarEnd(int fd) : m_fd(fd) {}
    ~FarEnd() { close(m_fd); }
    FarEnd(const FarEnd&) = delete;
    FarEnd& operator=(const FarEnd&) = delete;
    /// Whether the near end was closed.
    bool Closed() const {
        char byte = 0;
        return recv(m_fd, &byte, 1, MSG_DONTWAIT) == 0;
    }

private:
    const int m_fd;
};

class PoolTest : public ::testing::Test {
protected:
    static PoolLimits Limits(std::size_t perOrigin, std::size_t inAll = 100, std::size_t waiting = 100) {
        PoolLimits limits;
        limits.perOrigin = perOrigin;
        limits.inAll = inAll;
        limits.waiting = waiting;
        return limits;
    }
    static PoolLimits WithIdle(PoolLimits limits, std::chrono::milliseconds idle) {
        limits.idle = idle;
        return limits;
    }
    static PoolLimits WithAge(PoolLimits limits, std::chrono::milliseconds age) {
        limits.age = age;
        return limits;
    }
    void Make(const PoolLimits& limits) { m_pool = std::make_unique<Pool>(limits); }

    std::shared_ptr<Destination> To(const std::string& name) {
        return m_pool->Share(std::make_shared<Destination>(name, Origin{false, name, 80, false},
                                                           Place{name, 80, {}}, nullptr, m_counts));
    }
    Answer Ask(const std::shared_ptr<Destination>& to, Caller& caller) {
        return m_pool->Ask(*to, caller.ticket, caller.bell, m_now);
    }
    /// A connection that was just made, and its far end.
    std::unique_ptr<Connection> Connect(const std::shared_ptr<Destination>& to) {
        int ends[2];
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
        auto made = std::make_unique<Connection>(net::Channel(net::Descriptor(ends[0])), to, 0, m_now);
        m_far[made.get()] = std::make_shared<FarEnd>(ends[1]);
        return made;
    }
    /// Asks for a slot and makes a connection.
    std::unique_ptr<Connection> Open(const std::shared_ptr<Destination>& to) {
        Caller caller;
        EXPECT_EQ(Ask(to, caller), Answer::Slot);
        EXPECT_EQ(Pool::Take(caller.ticket), nullptr);
        m_pool->Dialled(*to);
        return Connect(to);
    }
    /// @return a connection that was kept; null and a failure when there is none.
    std::unique_ptr<Connection> TakeKept(const std::shared_ptr<Destination>& to) {
        Caller caller;
        EXPECT_EQ(Ask(to, caller), Answer::Connection);
        return Pool::Take(caller.ticket);
    }
    /// @return why connections were closed, as in "idle 1, age 2".
    std::string Reasons() const {
        std::string text;
        for (std::size_t index = 0; index < CLOSE_REASONS; ++index) {
            if (const auto count = m_counts->closed[index].count(); count > 0) {
                text += (text.empty() ? "" : ", ") + std::string(ToString(static_cast<CloseReason>(index))) +
                        " " + std::to_string(count);
            }
        }
        return text;
    }
    /// @return how many more connections may be made.
    std::size_t Room(const std::shared_ptr<Destination>& to) {
        std::size_t count = 0;
        for (;; ++count) {
            Caller caller;
            const Answer answer = Ask(to, caller);
            if (answer != Answer::Slot) {
                m_pool->Leave(*to, caller.ticket, m_now);
                break;
            }
            m_pool->Dialled(*to);
        }
        for (std::size_t i = 0; i < count; ++i) {
            m_pool->Free(*to);
        }
        return count;
    }
    bool Closed(const Connection* connection) { return m_far.at(connection)->Closed(); }

    net::Time m_now = net::Time(std::chrono::hours(1000));
    std::map<const Connection*, std::shared_ptr<FarEnd>> m_far; ///< of the last one at each place
    std::unique_ptr<Pool> m_pool;
    std::shared_ptr<OriginCounts> m_counts = std::make_shared<OriginCounts>("http://origin:80");
};

} // namespace

TEST_F(PoolTest, GrantsSlotsUpToTheLimitOfTheOrigin) {
    Make(Limits(2));
    const auto to = To("a");
    Caller callers[3];
    EXPECT_EQ(Ask(to, callers[0]), Answer::Slot);
    EXPECT_EQ(Ask(to, callers[1]), Answer::Slot);
    EXPECT_EQ(Ask(to, callers[2]), Answer::Waiting);
    EXPECT_EQ(m_pool->Look(callers[2].ticket), Answer::Waiting);
    EXPECT_EQ(Ask(To("b"), callers[0]), Answer::Slot) << "another origin has a limit of its own";
    m_pool->Leave(*to, callers[2].ticket, m_now);
}

TEST_F(PoolTest, GivesWhatComesBackToTheFirstInLine) {
    Make(Limits(1));
    const auto to = To("a");
    auto connection = Open(to);
    const Connection* const only = connection.get();
    Caller callers[3];
    for (Caller& caller : callers) {
        ASSERT_EQ(Ask(to, caller), Answer::Waiting);
    }
    for (Caller& caller : callers) {
        EXPECT_EQ(caller.bell->rung(), 0);
        EXPECT_EQ(m_pool->Return(std::move(connection), m_now), net::Time::max());
        EXPECT_EQ(caller.bell->rung(), 1);
        ASSERT_EQ(m_pool->Look(caller.ticket), Answer::Connection);
        connection = Pool::Take(caller.ticket);
        ASSERT_EQ(connection.get(), only);
    }
    m_pool->Return(std::move(connection), m_now);
    EXPECT_FALSE(Closed(only)) << "where nobody waits it is kept";
}

TEST_F(PoolTest, GivesAFreeSlotToTheFirstInLine) {
    Make(Limits(1));
    const auto to = To("a");
    auto connection = Open(to);
    Caller first;
    Caller second;
    Ask(to, first);
    Ask(to, second);
    connection.reset();
    m_pool->Free(*to);
    EXPECT_EQ(m_pool->Look(first.ticket), Answer::Slot);
    EXPECT_EQ(first.bell->rung(), 1);
    EXPECT_EQ(m_pool->Look(second.ticket), Answer::Waiting);
    EXPECT_EQ(second.bell->rung(), 0);
    m_pool->Free(*to);
    EXPECT_EQ(m_pool->Look(second.ticket), Answer::Slot);
    m_pool->Free(*to);
}

TEST_F(PoolTest, LetsOnlySoManyDialAtATime) {
    PoolLimits limits = Limits(10);
    limits.dials = 2;
    Make(limits);
    const auto to = To("a");
    Caller callers[4];
    EXPECT_EQ(Ask(to, callers[0]), Answer::Slot);
    EXPECT_EQ(Ask(to, callers[1]), Answer::Slot);
    EXPECT_EQ(Ask(to, callers[2]), Answer::Waiting);
    EXPECT_EQ(Ask(to, callers[3]), Answer::Waiting);
    Caller another;
    EXPECT_EQ(Ask(To("b"), another), Answer::Slot) << "another origin's listener is not concerned";
    m_pool->Dialled(*to);
    EXPECT_EQ(callers[2].bell->rung(), 1);
    EXPECT_EQ(m_pool->Look(callers[2].ticket), Answer::Slot);
    EXPECT_EQ(m_pool->Look(callers[3].ticket), Answer::Waiting);
    // Whoever leaves gives the turn to the next.
    m_pool->Leave(*to, callers[2].ticket, m_now);
    EXPECT_EQ(m_pool->Look(callers[3].ticket), Answer::Slot);
}

TEST_F(PoolTest, GivesWhatComesBackToWhoWaitsForADial) {
    PoolLimits limits = Limits(10);
    limits.dials = 1;
    Make(limits);
    const auto to = To("a");
    auto connection = Open(to);
    Caller callers[2];
    EXPECT_EQ(Ask(to, callers[0]), Answer::Slot);
    EXPECT_EQ(Ask(to, callers[1]), Answer::Waiting);
    m_pool->Return(std::move(connection), m_now);
    EXPECT_EQ(m_pool->Look(callers[1].ticket), Answer::Connection);
    m_pool->Return(Pool::Take(callers[1].ticket), m_now);
}

TEST_F(PoolTest, DoesNotCountThoseAmongTheTooManyWhoWaitOnlyForADial) {
    PoolLimits limits = Limits(3, 100, 1);
    limits.dials = 1;
    Make(limits);
    const auto to = To("a");
    Caller callers[5];
    EXPECT_EQ(Ask(to, callers[0]), Answer::Slot);
    EXPECT_EQ(Ask(to, callers[1]), Answer::Waiting);
    EXPECT_EQ(Ask(to, callers[2]), Answer::Waiting);
    EXPECT_EQ(Ask(to, callers[3]), Answer::Waiting) << "the one that may wait for a connection";
    EXPECT_EQ(Ask(to, callers[4]), Answer::Overloaded);
    for (int index : {3, 2, 1}) {
        m_pool->Leave(*to, callers[index].ticket, m_now);
    }
}

TEST_F(PoolTest, LetsNobodyOvertakeThoseWhoWait) {
    Make(Limits(1, 1));
    const auto to = To("a");
    const auto other = To("b");
    auto connection = Open(other);
    Caller first;
    ASSERT_EQ(Ask(to, first), Answer::Waiting);
    m_pool->Return(std::move(connection), m_now); // for the limit of all: closed, and its slot granted
    ASSERT_EQ(m_pool->Look(first.ticket), Answer::Slot);
    Caller second;
    Caller third;
    ASSERT_EQ(Ask(to, second), Answer::Waiting);
    ASSERT_EQ(Ask(to, third), Answer::Waiting);
    m_pool->Return(Connect(to), m_now);
    EXPECT_EQ(m_pool->Look(second.ticket), Answer::Connection);
    Caller late;
    EXPECT_EQ(Ask(to, late), Answer::Waiting);
    m_pool->Return(Pool::Take(second.ticket), m_now);
    EXPECT_EQ(m_pool->Look(third.ticket), Answer::Connection);
    EXPECT_EQ(m_pool->Look(late.ticket), Answer::Waiting);
    m_pool->Leave(*to, late.ticket, m_now);
    m_pool->Return(Pool::Take(third.ticket), m_now);
}

TEST_F(PoolTest, TakesTheLastUsedFirst) {
    Make(Limits(3));
    const auto to = To("a");
    auto one = Open(to);
    auto two = Open(to);
    auto three = Open(to);
    const std::vector<const Connection*> order = {two.get(), three.get(), one.get()};
    m_pool->Return(std::move(two), m_now);
    m_pool->Return(std::move(three), m_now);
    m_pool->Return(std::move(one), m_now);
    std::vector<std::unique_ptr<Connection>> taken;
    for (auto wanted = order.rbegin(); wanted != order.rend(); ++wanted) {
        taken.push_back(TakeKept(to));
        EXPECT_EQ(taken.back().get(), *wanted);
        EXPECT_TRUE(taken.back()->used);
    }
    for (auto& connection : taken) {
        m_pool->Return(std::move(connection), m_now);
    }
}

TEST_F(PoolTest, SkipsWhoHasLeftTheLine) {
    Make(Limits(1));
    const auto to = To("a");
    auto connection = Open(to);
    Caller gone;
    Caller next;
    Ask(to, gone);
    Ask(to, next);
    m_pool->Leave(*to, gone.ticket, m_now);
    m_pool->Return(std::move(connection), m_now);
    EXPECT_EQ(gone.bell->rung(), 0);
    EXPECT_EQ(m_pool->Look(next.ticket), Answer::Connection);
    m_pool->Return(Pool::Take(next.ticket), m_now);
}

TEST_F(PoolTest, HasWhoLeavesPassOnTheConnectionThatWasHandedOver) {
    Make(Limits(1));
    const auto to = To("a");
    auto connection = Open(to);
    Caller gone;
    Caller next;
    Ask(to, gone);
    Ask(to, next);
    m_pool->Return(std::move(connection), m_now);
    ASSERT_EQ(m_pool->Look(gone.ticket), Answer::Connection);
    m_pool->Leave(*to, gone.ticket, m_now);
    EXPECT_EQ(m_pool->Look(next.ticket), Answer::Connection);
    EXPECT_EQ(next.bell->rung(), 1);
    m_pool->Return(Pool::Take(next.ticket), m_now);
    EXPECT_EQ(Room(to), 0U) << "one is kept, and counts";
}

TEST_F(PoolTest, HasWhoLeavesPassOnTheSlotThatWasGranted) {
    Make(Limits(1));
    const auto to = To("a");
    Open(to).reset();
    Caller gone;
    Caller next;
    Ask(to, gone);
    Ask(to, next);
    m_pool->Free(*to);
    ASSERT_EQ(m_pool->Look(gone.ticket), Answer::Slot);
    m_pool->Leave(*to, gone.ticket, m_now);
    EXPECT_EQ(m_pool->Look(next.ticket), Answer::Slot);
    m_pool->Leave(*to, next.ticket, m_now);
    EXPECT_EQ(Room(to), 1U);
}

TEST_F(PoolTest, TellsWhoLeavesWhenThatWhichBecameIdleIsDue) {
    Make(WithIdle(Limits(1), 30s));
    const auto to = To("a");
    auto connection = Open(to);
    Caller gone;
    Ask(to, gone);
    m_pool->Return(std::move(connection), m_now);
    EXPECT_EQ(m_pool->Leave(*to, gone.ticket, m_now), m_now + 30s);
    EXPECT_EQ(m_pool->Leave(*to, gone.ticket, m_now), net::Time::max()) << "there is nothing more to leave";
}

TEST_F(PoolTest, IsOverloadedAtOnceWhenTheLineIsFull) {
    Make(Limits(1, 100, 2));
    const auto to = To("a");
    auto connection = Open(to);
    Caller callers[3];
    EXPECT_EQ(Ask(to, callers[0]), Answer::Waiting);
    EXPECT_EQ(Ask(to, callers[1]), Answer::Waiting);
    EXPECT_EQ(Ask(to, callers[2]), Answer::Overloaded);
    m_pool->Leave(*to, callers[2].ticket, m_now);
    m_pool->Leave(*to, callers[0].ticket, m_now);
    EXPECT_EQ(Ask(to, callers[2]), Answer::Waiting) << "there is a place again";
    m_pool->Leave(*to, callers[1].ticket, m_now);
    m_pool->Leave(*to, callers[2].ticket, m_now);
    m_pool->Return(std::move(connection), m_now);
}

TEST_F(PoolTest, LetsNobodyWaitWhenTheLineIsFull) {
    Make(Limits(1, 100, 0));
    const auto to = To("a");
    Caller first;
    Caller second;
    EXPECT_EQ(Ask(to, first), Answer::Slot);
    EXPECT_EQ(Ask(to, second), Answer::Overloaded);
    m_pool->Free(*to);
}

TEST_F(PoolTest, ClosesTheLongestIdleOfOthersBeyondTheLimitOfAll) {
    Make(Limits(2, 3));
    const auto one = To("a");
    const auto two = To("b");
    auto older = Open(one);
    auto newer = Open(two);
    auto newest = Open(one);
    const std::shared_ptr<FarEnd> kept[] = {m_far.at(older.get()), m_far.at(newer.get()),
                                            m_far.at(newest.get())};
    const Connection* const last = newest.get();
    m_pool->Return(std::move(older), m_now);
    m_pool->Return(std::move(newer), m_now + 1s);
    m_pool->Return(std::move(newest), m_now + 2s);
    auto third = Open(To("c"));
    EXPECT_TRUE(kept[0]->Closed());
    EXPECT_FALSE(kept[1]->Closed());
    auto fourth = Open(To("d"));
    EXPECT_TRUE(kept[1]->Closed());
    EXPECT_FALSE(kept[2]->Closed());
    EXPECT_EQ(Reasons(), "limit 2");
    m_pool->Return(std::move(third), m_now);
    m_pool->Return(std::move(fourth), m_now);
    EXPECT_EQ(TakeKept(one).get(), last);
    m_pool->Free(*one);
}

TEST_F(PoolTest, ClosesIdleOnesOfOthersForWhoWaitedForADial) {
    PoolLimits limits = Limits(10, 2, 0);
    limits.dials = 1;
    Make(limits);
    const auto other = To("a");
    auto idle = Open(other);
    const std::shared_ptr<FarEnd> kept = m_far.at(idle.get());
    m_pool->Return(std::move(idle), m_now);
    const auto to = To("b");
    Caller callers[3];
    ASSERT_EQ(Ask(to, callers[0]), Answer::Slot);
    ASSERT_EQ(Ask(to, callers[1]), Answer::Waiting) << "the idle one is room for it";
    EXPECT_EQ(Ask(to, callers[2]), Answer::Overloaded);
    EXPECT_FALSE(kept->Closed());
    m_pool->Dialled(*to);
    EXPECT_EQ(m_pool->Look(callers[1].ticket), Answer::Slot);
    EXPECT_TRUE(kept->Closed());
    EXPECT_EQ(Reasons(), "limit 1");
    m_pool->Leave(*to, callers[1].ticket, m_now);
    m_pool->Free(*to);
    EXPECT_EQ(Room(to), 2U);
}

TEST_F(PoolTest, GivesASlotToAWaiterOfAnotherOriginAtTheTotalLimit) {
    Make(Limits(2, 1));
    const auto one = To("a");
    const auto two = To("b");
    auto connection = Open(one);
    const Connection* const closed = connection.get();
    Caller waiting;
    ASSERT_EQ(Ask(two, waiting), Answer::Waiting);
    EXPECT_EQ(m_pool->Return(std::move(connection), m_now), net::Time::max());
    EXPECT_TRUE(Closed(closed));
    EXPECT_EQ(m_pool->Look(waiting.ticket), Answer::Slot);
    EXPECT_EQ(waiting.bell->rung(), 1);
    m_pool->Leave(*two, waiting.ticket, m_now);
    EXPECT_EQ(Room(one), 1U);
}

TEST_F(PoolTest, ServesOriginsThatWaitForTheLimitOfAllInTurn) {
    Make(Limits(10, 1));
    const auto first = To("a");
    const auto second = To("b");
    const auto holder = To("c");
    auto connection = Open(holder);
    Caller ofFirst[2];
    Caller ofSecond[2];
    for (Caller& caller : ofFirst) {
        ASSERT_EQ(Ask(first, caller), Answer::Waiting);
    }
    for (Caller& caller : ofSecond) {
        ASSERT_EQ(Ask(second, caller), Answer::Waiting);
    }
    connection.reset();
    m_pool->Free(*holder);
    EXPECT_EQ(m_pool->Look(ofFirst[0].ticket), Answer::Slot);
    m_pool->Free(*first);
    EXPECT_EQ(m_pool->Look(ofFirst[1].ticket), Answer::Waiting);
    EXPECT_EQ(m_pool->Look(ofSecond[0].ticket), Answer::Slot);
    m_pool->Free(*second);
    EXPECT_EQ(m_pool->Look(ofFirst[1].ticket), Answer::Slot);
    m_pool->Free(*first);
    EXPECT_EQ(m_pool->Look(ofSecond[1].ticket), Answer::Slot);
    m_pool->Free(*second);
    EXPECT_EQ(Room(first), 1U);
}

TEST_F(PoolTest, ClosesWhatHasBeenIdleTooLong) {
    Make(WithIdle(Limits(3), 30s));
    const auto to = To("a");
    auto one = Open(to);
    auto two = Open(to);
    const Connection* const first = one.get();
    const Connection* const second = two.get();
    EXPECT_EQ(m_pool->Return(std::move(one), m_now), m_now + 30s);
    EXPECT_EQ(m_pool->Return(std::move(two), m_now + 10s), m_now + 40s);
    EXPECT_EQ(m_pool->Sweep(m_now + 30s - 1ns), m_now + 30s);
    EXPECT_FALSE(Closed(first));
    EXPECT_EQ(m_pool->Sweep(m_now + 30s), m_now + 40s) << "when the next one is due";
    EXPECT_TRUE(Closed(first));
    EXPECT_FALSE(Closed(second));
    EXPECT_EQ(m_pool->Sweep(m_now + 41s), net::Time::max());
    EXPECT_TRUE(Closed(second));
    EXPECT_EQ(Reasons(), "idle 2");
    EXPECT_EQ(Room(to), 3U);
}

TEST_F(PoolTest, LendsNothingThatHasBeenIdleTooLong) {
    Make(WithIdle(Limits(2), 30s));
    const auto to = To("a");
    auto one = Open(to);
    const Connection* const only = one.get();
    m_pool->Return(std::move(one), m_now);
    m_now += 30s;
    Caller caller;
    EXPECT_EQ(Ask(to, caller), Answer::Slot) << "whether or not the keeper came first";
    EXPECT_TRUE(Closed(only));
    EXPECT_EQ(Reasons(), "idle 1");
    m_pool->Free(*to);
    EXPECT_EQ(Room(to), 2U);
}

TEST_F(PoolTest, ClosesWhatIsTooOldWhenItComesBack) {
    Make(WithAge(Limits(1), 600s));
    const auto to = To("a");
    auto one = Open(to);
    const Connection* const only = one.get();
    m_pool->Return(std::move(one), m_now + 539s);
    m_now += 539s;
    one = TakeKept(to);
    EXPECT_EQ(one.get(), only);
    m_pool->Return(std::move(one), m_now + 61s);
    EXPECT_TRUE(Closed(only));
    EXPECT_EQ(Reasons(), "age 1");
    EXPECT_EQ(Room(to), 1U);
}

TEST_F(PoolTest, HandsNothingOverThatIsTooOld) {
    Make(WithAge(Limits(1), 600s));
    const auto to = To("a");
    auto one = Open(to);
    Caller waiting;
    Ask(to, waiting);
    m_pool->Return(std::move(one), m_now + 600s);
    EXPECT_EQ(m_pool->Look(waiting.ticket), Answer::Slot) << "it makes one of its own";
    EXPECT_EQ(Reasons(), "age 1");
    m_pool->Free(*to);
}

TEST_F(PoolTest, MakesAgesDifferByUpToTenPercent) {
    PoolLimits limits = Limits(100);
    limits.age = 600s;
    limits.idle = std::chrono::hours(1);
    Make(limits);
    const auto to = To("a");
    std::vector<std::unique_ptr<Connection>> all;
    for (int i = 0; i < 50; ++i) {
        all.push_back(Open(to));
    }
    std::vector<net::Time> dues;
    for (auto& connection : all) {
        dues.push_back(m_pool->Return(std::move(connection), m_now));
        EXPECT_GT(dues.back(), m_now + 540s - 1ns);
        EXPECT_LE(dues.back(), m_now + 600s);
    }
    const auto [least, most] = std::minmax_element(dues.begin(), dues.end());
    EXPECT_GT(*most - *least, 20s) << "they do not go together";
}

TEST_F(PoolTest, KeepsAConnectionNoLongerThanItsServerSaid) {
    Make(WithIdle(Limits(1), 30s));
    const auto to = To("a");
    auto one = Open(to);
    const Connection* const only = one.get();
    one->goodFor = m_now + 5s;
    EXPECT_EQ(m_pool->Return(std::move(one), m_now), m_now + 5s);
    m_now += 5s;
    Caller caller;
    EXPECT_EQ(Ask(to, caller), Answer::Slot);
    EXPECT_TRUE(Closed(only));
    EXPECT_EQ(Reasons(), "server 1");
    m_pool->Free(*to);
}

TEST_F(PoolTest, KeepsForEverWhatHasNoLimitOfTime) {
    PoolLimits limits = Limits(1);
    limits.idle = std::chrono::milliseconds::max();
    limits.age = std::chrono::milliseconds::max();
    Make(limits);
    const auto to = To("a");
    auto one = Open(to);
    const Connection* const only = one.get();
    EXPECT_GT(m_pool->Return(std::move(one), m_now), m_now + std::chrono::hours(24 * 365));
    m_pool->Sweep(m_now + std::chrono::hours(24 * 365));
    EXPECT_FALSE(Closed(only));
}

TEST_F(PoolTest, GivesAnotherKeptOneForADeadOne) {
    Make(Limits(2));
    const auto to = To("a");
    auto one = Open(to);
    auto two = Open(to);
    const Connection* const kept = one.get();
    m_pool->Return(std::move(one), m_now);
    m_pool->Return(std::move(two), m_now);
    auto dead = TakeKept(to);
    dead.reset();
    auto another = m_pool->Instead(*to, m_now);
    ASSERT_EQ(another.get(), kept);
    EXPECT_EQ(Room(to), 1U) << "the dead one's slot is free";
    another.reset();
    EXPECT_EQ(m_pool->Instead(*to, m_now), nullptr) << "the caller keeps its slot";
    EXPECT_EQ(Room(to), 1U);
    m_pool->Free(*to);
    EXPECT_EQ(Room(to), 2U);
}

TEST_F(PoolTest, GrantsTheSlotOfADeadOneToWhoWaits) {
    Make(Limits(2, 2));
    const auto to = To("a");
    auto one = Open(to);
    auto two = Open(to);
    m_pool->Return(std::move(one), m_now);
    m_pool->Return(std::move(two), m_now);
    auto dead = TakeKept(to);
    auto lent = TakeKept(to);
    Caller waiting;
    ASSERT_EQ(Ask(to, waiting), Answer::Waiting);
    m_pool->Return(std::move(lent), m_now);
    EXPECT_EQ(m_pool->Look(waiting.ticket), Answer::Connection);
    dead.reset();
    EXPECT_EQ(m_pool->Instead(*to, m_now), nullptr);
    m_pool->Free(*to);
    m_pool->Return(Pool::Take(waiting.ticket), m_now);
    EXPECT_EQ(Room(to), 0U) << "one idle, nobody else";
    EXPECT_EQ(m_pool->CloseIdle(CloseReason::Shutdown), 1U);
    EXPECT_EQ(Room(to), 2U);
}

TEST_F(PoolTest, ClosesAllIdleOnesButThoseOfOneOrigin) {
    Make(Limits(2));
    const auto one = To("a");
    const auto two = To("b");
    auto kept = Open(one);
    auto other = Open(two);
    const Connection* const first = kept.get();
    const Connection* const second = other.get();
    m_pool->Return(std::move(kept), m_now);
    m_pool->Return(std::move(other), m_now);
    EXPECT_EQ(m_pool->CloseIdle(CloseReason::Limit, one.get()), 1U);
    EXPECT_FALSE(Closed(first));
    EXPECT_TRUE(Closed(second));
    m_pool->CloseIdleOf(*one);
    EXPECT_TRUE(Closed(first));
    EXPECT_EQ(Reasons(), "age 1, limit 1") << "made with TLS files that have changed";
    EXPECT_EQ(m_pool->CloseIdle(CloseReason::Shutdown), 0U);
}

TEST_F(PoolTest, EndsAllWaitingWhenItCloses) {
    Make(Limits(1));
    const auto to = To("a");
    const auto other = To("b");
    auto connection = Open(to);
    auto idle = Open(other);
    const Connection* const lent = connection.get();
    const Connection* const kept = idle.get();
    m_pool->Return(std::move(idle), m_now);
    Caller callers[2];
    Ask(to, callers[0]);
    Ask(to, callers[1]);
    m_pool->Close();
    for (Caller& caller : callers) {
        EXPECT_EQ(m_pool->Look(caller.ticket), Answer::Shutdown);
        EXPECT_EQ(caller.bell->rung(), 1);
        m_pool->Leave(*to, caller.ticket, m_now);
    }
    EXPECT_TRUE(Closed(kept));
    EXPECT_EQ(Ask(to, callers[0]), Answer::Shutdown);
    EXPECT_EQ(m_pool->Return(std::move(connection), m_now), net::Time::max());
    EXPECT_TRUE(Closed(lent)) << "what comes back is not kept";
    EXPECT_EQ(Reasons(), "shutdown 2");
    EXPECT_EQ(m_pool->Instead(*other, m_now), nullptr);
}

TEST_F(PoolTest, HasOneDestinationPerKey) {
    Make(Limits(1));
    const auto one = To("a");
    EXPECT_EQ(To("a"), one);
    EXPECT_NE(To("b"), one);
    EXPECT_TRUE(m_pool->WithMaterial().empty());
}

TEST_F(PoolTest, ForgetsAnUnusedDestination) {
    Make(Limits(1));
    std::weak_ptr<Destination> unused = To("a");
    std::weak_ptr<Destination> kept;
    {
        const auto to = To("b");
        kept = to;
        m_pool->Return(Open(to), m_now);
    }
    m_pool->Sweep(m_now);
    EXPECT_TRUE(unused.expired());
    EXPECT_FALSE(kept.expired()) << "a connection to it is kept";
    m_pool->Sweep(m_now + std::chrono::hours(1)); // closes it
    m_pool->Sweep(m_now + std::chrono::hours(1));
    EXPECT_TRUE(kept.expired());
}

TEST_F(PoolTest, ForgetsUnusedDestinationsWithoutAKeeper) {
    Make(Limits(1));
    std::vector<std::weak_ptr<Destination>> all;
    for (int i = 0; i < 1000; ++i) {
        all.push_back(To(std::to_string(i)));
    }
    const auto alive =
        std::count_if(all.begin(), all.end(), [](const auto& each) { return !each.expired(); });
    EXPECT_LT(alive, 200);
}

TEST_F(PoolTest, ServesThoseWhoWaitWhenTheLimitIsRaised) {
    Make(Limits(1));
    const auto to = To("a");
    Caller callers[4];
    for (Caller& caller : callers) {
        Ask(to, caller);
    }
    m_pool->RaisePerOrigin(1);
    EXPECT_EQ(m_pool->Look(callers[1].ticket), Answer::Waiting);
    m_pool->RaisePerOrigin(3);
    EXPECT_EQ(m_pool->Look(callers[1].ticket), Answer::Slot);
    EXPECT_EQ(m_pool->Look(callers[2].ticket), Answer::Slot);
    EXPECT_EQ(m_pool->Look(callers[3].ticket), Answer::Waiting);
    m_pool->RaisePerOrigin(2);
    m_pool->Leave(*to, callers[3].ticket, m_now);
    for (int i = 0; i < 3; ++i) {
        m_pool->Free(*to);
    }
    EXPECT_EQ(Room(to), 3U) << "a lower value is ignored";
}

TEST_F(PoolTest, ClosesByANewIdleTimeoutAtOnce) {
    Make(Limits(1));
    const auto to = To("a");
    auto one = Open(to);
    const Connection* const only = one.get();
    m_pool->Return(std::move(one), m_now);
    m_pool->SetIdleTimeout(1s);
    m_pool->Sweep(m_now + 1s);
    EXPECT_TRUE(Closed(only));
}

TEST_F(PoolTest, HasItsCountsRightAfterEverythingAtOnce) {
    constexpr std::size_t IN_ALL = 5;
    PoolLimits limits = Limits(3, IN_ALL, 4);
    limits.dials = 2;
    Make(limits);
    const std::vector<std::shared_ptr<Destination>> destinations = {To("a"), To("b"), To("c")};
    std::atomic<std::size_t> lent{0};
    std::atomic<bool> tooMany{false};
    const auto work = [&](unsigned int seed) {
        std::minstd_rand random(seed);
        for (int turn = 0; turn < 3000; ++turn) {
            const auto& to = destinations[random() % destinations.size()];
            Caller caller;
            Answer answer = m_pool->Ask(*to, caller.ticket, caller.bell, m_now);
            for (int looks = 0; answer == Answer::Waiting && looks < 20; ++looks) {
                std::this_thread::yield();
                answer = m_pool->Look(caller.ticket);
            }
            if (answer != Answer::Connection && answer != Answer::Slot) {
                m_pool->Leave(*to, caller.ticket, m_now);
                continue;
            }
            auto connection = Pool::Take(caller.ticket);
            tooMany = tooMany || ++lent > IN_ALL;
            if (answer == Answer::Slot) {
                m_pool->Dialled(*to);
            }
            if (!connection && random() % 4 != 0) {
                connection = std::make_unique<Connection>(net::Channel(net::Descriptor()), to, 0, m_now);
            }
            const bool dead = random() % 8 == 0;
            --lent;
            if (connection && dead) {
                connection = m_pool->Instead(*to, m_now);
            }
            if (connection) {
                m_pool->Return(std::move(connection), m_now);
            } else {
                m_pool->Free(*to);
            }
            if (random() % 50 == 0) {
                m_pool->CloseIdle(CloseReason::Shutdown);
            }
        }
    };
    std::vector<std::thread> threads;
    for (unsigned int i = 0; i < 4; ++i) {
        threads.emplace_back(work, i + 1);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_FALSE(tooMany);
    m_pool->CloseIdle(CloseReason::Shutdown);
    for (const auto& to : destinations) {
        EXPECT_EQ(Room(to), 3U);
    }
    std::size_t inAll = 0;
    std::vector<std::unique_ptr<Caller>> callers;
    for (int i = 0; i < 9; ++i) {
        callers.push_back(std::make_unique<Caller>());
        const auto& to = destinations[static_cast<std::size_t>(i) % 3];
        if (Ask(to, *callers.back()) == Answer::Slot) {
            ++inAll;
            m_pool->Dialled(*to);
        }
    }
    EXPECT_EQ(inAll, IN_ALL);
    m_pool->Close();
}
