// SPDX-License-Identifier: Apache-2.0
// Memory is refused at each allocation in turn: each operation says so or goes on, and the next one works.
#include <functional>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <system_error>
#include <type_traits>
#include <vector>

#include <malloc.h>

#include <gtest/gtest.h>

#include <httpclient/testing/Environment.h>

#include "interpose/Allocations.h"
#include "net/Address.h"
#include "net/AuthorityFiles.h"
#include "net/Dial.h"
#include "net/Resolver.h"
#include "seam/NameService.h"
#include "setting/TlsPair.h"

using namespace httpclient::net;
using httpclient::testing::CountedMalloc;
using httpclient::testing::CountedNew;

namespace {

constexpr std::size_t MANY = 100000;

/// Runs an operation with one allocation refused after the other, every so many, until it needs no more; and once more.
template <class Refusal> void RefuseEach(const std::function<void()>& operation, std::size_t step = 1) {
    operation(); // what is made once for the process is there
    for (std::size_t i = 1; i < MANY; i += step) {
        std::size_t asked = 0;
        {
            const Refusal refused(i);
            try {
                operation();
            } catch (const std::bad_alloc&) {
            } catch (const std::invalid_argument&) {
                // OpenSSL's decoders often say of a text that they had no memory for that it is wrong.
                EXPECT_TRUE((std::is_same_v<Refusal, CountedMalloc>)) << i;
            }
            asked = refused.Count();
        }
        if (asked < i) {
            operation();
            return;
        }
    }
    FAIL() << "there is no end";
}

template <class Refusal> class Memory : public ::testing::Test {};
using Refusals = ::testing::Types<CountedNew, CountedMalloc>;
TYPED_TEST_SUITE(Memory, Refusals);

TlsSettings MutualSettings() {
    TlsSettings settings = TrustingSettings();
    settings.certificate = Certificates::Instance().client.certificatePem;
    settings.key = Certificates::Instance().client.keyPem;
    return settings;
}

class Bell : public Waker {
public:
    void Wake() noexcept override {}
};

} // namespace

TYPED_TEST(Memory, RefusedWhileMaterialIsReadIsSaid) {
    const TlsSettings settings = MutualSettings();
    RefuseEach<TypeParam>(
        [&settings] {
            TlsMaterial material(settings);
            material.CheckTexts();
            EXPECT_NE(material.InUse(), nullptr);
        },
        std::is_same_v<TypeParam, CountedMalloc> ? 11 : 1); // each one would take too long
}

TYPED_TEST(Memory, RefusedWhileADirectoryIsReadIsSaid) {
    const httpclient::testing::TemporaryDirectory directory;
    directory.Write("a-file-whose-name-is-longer-than-a-short-text", "");
    directory.Write("2e5ac55d.0", "");
    directory.Write("2e5ac55d.1", "");
    RefuseEach<TypeParam>([&directory] {
        std::error_code error;
        const std::vector<std::string> files = HashedFiles(directory.path(), error);
        EXPECT_EQ(files.size(), error ? 0U : 2U) << error.message();
        EXPECT_TRUE(!error || error == std::errc::not_enough_memory) << error.message();
    });
}

TYPED_TEST(Memory, RefusedWhileTlsBeginsIsSaid) {
    const auto context = ContextOf(MutualSettings());
    const auto sessions = std::make_shared<SessionCache>();
    SocketPair sockets;
    Channel channel(std::move(sockets.ours));
    RefuseEach<TypeParam>([&] { channel.StartTls(context, sessions); });
    channel.StartTls(context, sessions);
    EXPECT_EQ(channel.Handshake().wants, Wants::Read);
}

TYPED_TEST(Memory, RefusedDuringAHandshakeEndsIt) {
    const auto context = ContextOf(MutualSettings());
    PeerSettings settings = LocalhostPeer();
    settings.clientCa = Certificates::Instance().ca.certificatePem();
    const PeerContext peerContext(settings);
    bool refusing = true;
    for (std::size_t i = 1; refusing && i < MANY; i += 7) { // each one would take a minute
        TlsPair pair(peerContext, context, std::make_shared<SessionCache>());
        std::size_t before = 0;
        IoResult result;
        bool over = false;
        while (!over) {
            {
                const TypeParam refused(i > before ? i - before : 0);
                result = pair.channel.Handshake();
                before += refused.Count();
            }
            over = result.wants == Wants::Nothing;
            pair.peer.Accept();
        }
        refusing = before >= i;
        EXPECT_TRUE(refusing || !result.error) << result.error.message();
    }
}

TYPED_TEST(Memory, RefusedWhileBytesGoEndsTheConnectionOrNothing) {
    const auto context = ContextOf(TrustingSettings());
    const PeerContext peerContext(LocalhostPeer());
    for (std::size_t i = 1; i < 40; ++i) {
        TlsPair pair(peerContext, context, std::make_shared<SessionCache>());
        ASSERT_FALSE(pair.Handshake().error);
        pair.peer.Write("answer");
        const iovec piece{const_cast<char*>("question"), 8};
        char answer[16];
        const TypeParam refused(i);
        const IoResult written = pair.channel.Write(&piece, 1);
        const IoResult read = pair.channel.Read(answer, sizeof answer);
        const bool quiet = pair.channel.Quiet();
        EXPECT_TRUE(written.bytes == 8 || written.error) << i;
        EXPECT_TRUE(read.bytes == 6 || read.error) << i;
        EXPECT_TRUE(!quiet || !read.error) << i;
    }
}

TYPED_TEST(Memory, RefusedWhileDiallingIsSaid) {
    const QuietListener listener;
    RefuseEach<TypeParam>([&listener] {
        Dial dial({listener.endpoint(), *NumericAddress("::1")});
        std::vector<pollfd> wait;
        dial.Step(Time());
        dial.Watch(wait);
    });
}

TYPED_TEST(Memory, RefusedWhileANameIsAskedForIsSaid) {
    NameService names;
    names.Set("db.test", {"10.0.0.1"});
    RefuseEach<TypeParam>([] {
        Resolver resolver(std::chrono::seconds(30));
        try {
            resolver.Find("db.test", Clock::now(), std::make_shared<Bell>());
        } catch (const std::system_error&) {
            // the C library had no memory for a thread
        }
    });
}

TEST(MemoryOfTls, IsSmallWhileAConnectionIsIdle) {
    const auto context = ContextOf(TrustingSettings());
    const PeerContext peerContext(LocalhostPeer());
    std::vector<std::unique_ptr<TlsPair>> pairs;
    const auto connect = [&] {
        pairs.push_back(std::make_unique<TlsPair>(peerContext, context));
        ASSERT_FALSE(pairs.back()->Handshake().error);
        pairs.back()->Settle();
        EXPECT_TRUE(pairs.back()->channel.Quiet());
    };
    connect(); // what is made once is there
    const std::size_t before = mallinfo2().uordblks + mallinfo2().hblkhd;
    for (int i = 0; i < 10; ++i) {
        connect();
    }
    const std::size_t each = (mallinfo2().uordblks + mallinfo2().hblkhd - before) / 10;
    EXPECT_LT(each, 80000U) << "client and server together";
}
