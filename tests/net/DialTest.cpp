// SPDX-License-Identifier: Apache-2.0
// Time is a parameter of all of this: nothing waits for a stagger.
#include "net/Dial.h"

#include <cerrno>
#include <chrono>
#include <cstring>

#include <sys/socket.h>

#include <gtest/gtest.h>

#include <httpclient/testing/Environment.h>

#include "net/Address.h"
#include "seam/Connects.h"
#include "setting/SocketPair.h"

using namespace httpclient::net;
using namespace std::chrono_literals;
using Status = Dial::Status;

namespace {

constexpr Time START = Time(1000h);

/// Steps, without letting time go on, until the kernel has an answer.
Status Settle(Dial& dial, Time now) {
    for (;;) {
        const Status status = dial.Step(now);
        std::vector<pollfd> wait;
        dial.Watch(wait);
        if (status != Status::Pending || wait.empty()) {
            return status;
        }
        EXPECT_GT(poll(wait.data(), wait.size(), 30000), 0);
    }
}

std::size_t Watched(const Dial& dial) {
    std::vector<pollfd> wait;
    dial.Watch(wait);
    for (const pollfd& each : wait) {
        EXPECT_EQ(each.events, POLLOUT);
        EXPECT_TRUE(ClosesOnExec(each.fd));
    }
    return wait.size();
}

Endpoint V4(const char* address, std::uint16_t port = 80) {
    Endpoint endpoint = *NumericAddress(address);
    SetPort(endpoint, port);
    return endpoint;
}

/// Where nothing ever answers.
Endpoint BlackHole(Connects& connects, const char* address) {
    const Endpoint endpoint = V4(address);
    connects.Set(endpoint, EINPROGRESS);
    return endpoint;
}

bool SamePlace(const Endpoint& one, const Endpoint& other) {
    return BytesOf(one) == BytesOf(other);
}

/// Whether both ends of a connection are one.
void ExpectConnected(Descriptor socket, const QuietListener& listener) {
    const Descriptor accepted = listener.Accept();
    SendAll(accepted.get(), "x");
    socket.Reset(socket.Release());
    ASSERT_TRUE(WaitFor(socket.get(), POLLIN));
    char byte = 0;
    EXPECT_EQ(recv(socket.get(), &byte, 1, 0), 1);
    EXPECT_EQ(byte, 'x');
}

} // namespace

TEST(Dial, ConnectsOverIPv4AndIPv6) {
    for (const int family : {AF_INET, AF_INET6}) {
        const QuietListener listener(family);
        Dial dial({listener.endpoint()});
        ASSERT_EQ(Settle(dial, START), Status::Connected) << family;
        EXPECT_EQ(dial.Step(START), Status::Connected) << "and stays so";
        EXPECT_TRUE(SamePlace(dial.endpoint(), listener.endpoint()));
        EXPECT_EQ(dial.NextStart(), Time::max());
        ExpectConnected(dial.Take(), listener);
    }
}

TEST(Dial, ConnectsToAUnixSocketAtOnce) {
    const httpclient::testing::TemporaryDirectory directory;
    const QuietListener listener(directory.path() / "socket", 4);
    Dial dial({listener.endpoint()});
    ASSERT_EQ(dial.Step(START), Status::Connected);
    ExpectConnected(dial.Take(), listener);
}

TEST(Dial, SaysThatAUnixSocketIsNotThere) {
    const httpclient::testing::TemporaryDirectory directory;
    Dial dial({*UnixAddress(directory.path() / "none")});
    ASSERT_EQ(dial.Step(START), Status::Failed);
    EXPECT_EQ(dial.error(), std::errc::no_such_file_or_directory);
}

TEST(Dial, TriesAUnixSocketAgainWhileItsBacklogIsFull) {
    const httpclient::testing::TemporaryDirectory directory;
    const QuietListener listener(directory.path() / "socket", 0);
    Dial first({listener.endpoint()});
    ASSERT_EQ(first.Step(START), Status::Connected);
    Dial second({listener.endpoint()});
    ASSERT_EQ(second.Step(START), Status::Pending);
    EXPECT_EQ(Watched(second), 0U) << "the kernel would call it writable all the time";
    const Time again = second.NextStart();
    EXPECT_GT(again, START);
    EXPECT_LE(again, START + 50ms);
    listener.Accept();
    EXPECT_EQ(second.Step(again - 1ns), Status::Pending) << "not before its time";
    EXPECT_EQ(second.Step(again), Status::Connected);
}

TEST(Dial, WaitsLongerAndLongerForAFullBacklogUpToFiftyMilliseconds) {
    const httpclient::testing::TemporaryDirectory directory;
    const QuietListener listener(directory.path() / "socket", 0);
    Dial first({listener.endpoint()});
    ASSERT_EQ(first.Step(START), Status::Connected);
    Dial second({listener.endpoint()});
    Time now = START;
    std::chrono::nanoseconds last{0};
    for (int i = 0; i < 10; ++i) {
        ASSERT_EQ(second.Step(now), Status::Pending);
        const auto pause = second.NextStart() - now;
        EXPECT_GE(pause, last);
        last = pause;
        now = second.NextStart();
    }
    EXPECT_EQ(last, 50ms);
}

TEST(Dial, FailsWithTheErrorOfTheLastAttempt) {
    Connects connects;
    connects.Set(V4("10.0.0.1"), EHOSTUNREACH);
    connects.Set(V4("10.0.0.2"), ENETUNREACH);
    Dial dial({V4("10.0.0.1"), V4("10.0.0.2")});
    EXPECT_EQ(dial.Step(START), Status::Failed);
    EXPECT_EQ(dial.error(), std::errc::network_unreachable);
    EXPECT_EQ(dial.Step(START), Status::Failed);
    EXPECT_EQ(dial.NextStart(), Time::max());
}

TEST(Dial, TakesWantOfLocalPortsForARefusal) {
    Connects connects;
    connects.Set(V4("10.0.0.1"), EAGAIN); // which means a full backlog where a UNIX socket says so
    Dial dial({V4("10.0.0.1")});
    ASSERT_EQ(dial.Step(START), Status::Failed);
    EXPECT_EQ(dial.error(), std::errc::resource_unavailable_try_again);
}

TEST(Dial, IsToldOfARefusalByTheKernel) {
    Dial dial({RefusingEndpoint()});
    EXPECT_EQ(Settle(dial, START), Status::Failed);
    EXPECT_EQ(dial.error(), std::errc::connection_refused);
}

TEST(Dial, BeginsWithTheNextAtOnceAfterARefusal) {
    const QuietListener listener;
    Dial dial({RefusingEndpoint(), RefusingEndpoint(AF_INET6), listener.endpoint()});
    ASSERT_EQ(Settle(dial, START), Status::Connected) << "without any time going by";
    EXPECT_TRUE(SamePlace(dial.endpoint(), listener.endpoint()));
}

TEST(Dial, BeginsWithTheNextAtOnceAfterARefusalWhileOthersAreUnderWay) {
    Connects connects;
    const Endpoint refusing = BlackHole(connects, "10.0.0.2");
    Dial dial({BlackHole(connects, "10.0.0.1"), refusing, BlackHole(connects, "10.0.0.3")});
    ASSERT_EQ(dial.Step(START), Status::Pending);
    ASSERT_EQ(dial.Step(START + 250ms), Status::Pending);
    connects.Set(refusing, ECONNREFUSED);
    ASSERT_EQ(dial.Step(START + 260ms), Status::Pending);
    EXPECT_EQ(connects.begun().size(), 3U);
    EXPECT_EQ(Watched(dial), 2U);
}

TEST(Dial, BeginsWithTheNextAfterAQuarterOfASecond) {
    const QuietListener listener;
    Connects connects;
    Dial dial({BlackHole(connects, "10.0.0.1"), listener.endpoint()});
    ASSERT_EQ(dial.Step(START), Status::Pending);
    EXPECT_EQ(Watched(dial), 1U);
    EXPECT_EQ(dial.NextStart(), START + 250ms);
    ASSERT_EQ(dial.Step(START + 250ms - 1ns), Status::Pending);
    EXPECT_EQ(connects.begun().size(), 1U);
    ASSERT_EQ(Settle(dial, START + 250ms), Status::Connected);
    EXPECT_TRUE(SamePlace(dial.endpoint(), listener.endpoint()));
}

TEST(Dial, StaggersEachAttemptFromTheOneBefore) {
    Connects connects;
    Dial dial(
        {BlackHole(connects, "10.0.0.1"), BlackHole(connects, "10.0.0.2"), BlackHole(connects, "10.0.0.3")});
    ASSERT_EQ(dial.Step(START), Status::Pending);
    ASSERT_EQ(dial.Step(START + 300ms), Status::Pending);
    EXPECT_EQ(connects.begun().size(), 2U);
    EXPECT_EQ(dial.NextStart(), START + 550ms);
    ASSERT_EQ(dial.Step(START + 10s), Status::Pending);
    EXPECT_EQ(connects.begun().size(), 3U);
    EXPECT_EQ(Watched(dial), 3U);
    EXPECT_EQ(dial.NextStart(), Time::max()) << "only the kernel can tell now";
}

TEST(Dial, TakesTheFirstThatConnectsWhileEarlierOnesAreUnderWay) {
    const QuietListener listener;
    Connects connects;
    const Endpoint slow = BlackHole(connects, "10.0.0.1");
    Dial dial({slow, listener.endpoint()});
    ASSERT_EQ(dial.Step(START), Status::Pending);
    std::vector<pollfd> wait;
    dial.Watch(wait);
    ASSERT_EQ(wait.size(), 1U);
    ASSERT_EQ(Settle(dial, START + 250ms), Status::Connected);
    EXPECT_EQ(Watched(dial), 0U);
    char byte = 0;
    EXPECT_EQ(recv(wait[0].fd, &byte, 1, MSG_DONTWAIT), -1);
    EXPECT_EQ(errno, EBADF) << "the others are closed";
}

TEST(Dial, TakesAnEarlierOneThatComesThroughLate) {
    const QuietListener first;
    Connects connects;
    connects.Set(first.endpoint(), EINPROGRESS);
    Dial dial({first.endpoint(), BlackHole(connects, "10.0.0.2")});
    ASSERT_EQ(dial.Step(START), Status::Pending);
    ASSERT_EQ(dial.Step(START + 250ms), Status::Pending);
    connects.Set(first.endpoint(), 0);
    ASSERT_EQ(Settle(dial, START + 260ms), Status::Connected);
    EXPECT_TRUE(SamePlace(dial.endpoint(), first.endpoint()));
}

TEST(Dial, TakesTheFamiliesInTurn) {
    Connects connects;
    const Endpoint all[] = {*NumericAddress("2001:db8::1"), *NumericAddress("2001:db8::2"),
                            *NumericAddress("2001:db8::3"), *NumericAddress("10.0.0.1"),
                            *NumericAddress("10.0.0.2")};
    for (const Endpoint& each : all) {
        connects.Set(each, ENETUNREACH);
    }
    Dial sixFirst({all[0], all[1], all[2], all[3], all[4]});
    EXPECT_EQ(sixFirst.Step(START), Status::Failed);
    EXPECT_EQ(connects.begun(), (std::vector<std::string>{BytesOf(all[0]), BytesOf(all[3]), BytesOf(all[1]),
                                                          BytesOf(all[4]), BytesOf(all[2])}));
}

TEST(Dial, BeginsWithTheFamilyThatTheResolverPutFirst) {
    Connects connects;
    const Endpoint four = *NumericAddress("10.0.0.1");
    const Endpoint six = *NumericAddress("2001:db8::1");
    const Endpoint otherSix = *NumericAddress("2001:db8::2");
    for (const Endpoint& each : {four, six, otherSix}) {
        connects.Set(each, ENETUNREACH);
    }
    Dial dial({four, six, otherSix});
    EXPECT_EQ(dial.Step(START), Status::Failed);
    EXPECT_EQ(connects.begun(), (std::vector<std::string>{BytesOf(four), BytesOf(six), BytesOf(otherSix)}));
}

TEST(Dial, WinsOverIPv4WhenIPv6LeadsNowhere) {
    const QuietListener listener;
    Connects connects;
    Endpoint dead = *NumericAddress("2001:db8::1");
    connects.Set(dead, EINPROGRESS);
    Dial dial({dead, listener.endpoint()});
    ASSERT_EQ(dial.Step(START), Status::Pending);
    EXPECT_EQ(Settle(dial, START + 250ms), Status::Connected);
}

TEST(Dial, TellsOfUsedUpDescriptorsBeforeOfAnythingElse) {
    Connects connects;
    connects.Set(V4("10.0.0.2"), ENETUNREACH);
    for (const int error : {EMFILE, ENFILE}) {
        Dial dial({V4("10.0.0.1"), V4("10.0.0.2")});
        connects.Set(V4("10.0.0.1"), EINPROGRESS);
        ASSERT_EQ(dial.Step(START), Status::Pending);
        connects.FailSockets(error);
        ASSERT_EQ(dial.Step(START + 250ms), Status::Pending) << "the first may still come through";
        connects.Set(V4("10.0.0.1"), ECONNREFUSED);
        connects.FailSockets(0);
        ASSERT_EQ(dial.Step(START + 300ms), Status::Failed);
        EXPECT_EQ(dial.error().value(), error);
    }
}

TEST(Dial, PassesOverAFamilyThatTheSystemDoesNotHave) {
    const QuietListener listener;
    Endpoint unknown = listener.endpoint();
    unknown.address.ss_family = AF_MAX - 1;
    Dial dial({unknown, listener.endpoint()});
    EXPECT_EQ(Settle(dial, START), Status::Connected);
}

TEST(Dial, GoesOnAfterAnInterruptedConnect) {
    const QuietListener listener;
    Connects connects;
    connects.Set(listener.endpoint(), EINTR);
    Dial dial({listener.endpoint()});
    ASSERT_EQ(dial.Step(START), Status::Pending);
    connects.Set(listener.endpoint(), 0);
    EXPECT_EQ(Settle(dial, START), Status::Connected);
}

TEST(Dial, WaitsWhereAFullBacklogDropsWhatArrives) {
    const QuietListener listener(AF_INET, 0);
    std::vector<Dial> crowd;
    crowd.reserve(8);
    std::size_t pending = 0;
    for (int i = 0; i < 8; ++i) {
        crowd.emplace_back(std::vector<Endpoint>{listener.endpoint()});
        crowd.back().Step(START);
        pending += crowd.back().Step(START) == Status::Pending ? 1 : 0;
    }
    EXPECT_GE(pending, 4U);
}

TEST(Dial, TakesAConnectionToItselfForARefusal) {
    // The kernel connects a socket to itself when it dials the port that it is bound to.
    const Descriptor bound(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    Endpoint own = V4("127.0.0.1", 0);
    ASSERT_EQ(bind(bound.get(), reinterpret_cast<const sockaddr*>(&own.address), own.size), 0);
    socklen_t size = sizeof own.address;
    ASSERT_EQ(getsockname(bound.get(), reinterpret_cast<sockaddr*>(&own.address), &size), 0);
    ASSERT_EQ(connect(bound.get(), reinterpret_cast<const sockaddr*>(&own.address), own.size), 0);
    Connects connects;
    connects.Lend(bound.get());
    Dial dial({own});
    EXPECT_EQ(dial.Step(START), Status::Failed);
    EXPECT_EQ(dial.error(), std::errc::connection_refused);
}
