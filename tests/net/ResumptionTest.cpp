// SPDX-License-Identifier: Apache-2.0
// Which connections take up a session of an earlier one, as the server sees it.
#include <memory>
#include <string>

#include <poll.h>

#include <gtest/gtest.h>

#include "net/SessionCache.h"
#include "setting/TlsPair.h"

using namespace httpclient::net;

namespace {

class Resumption : public ::testing::TestWithParam<std::pair<int, bool>> {
protected:
    static PeerSettings Peer() {
        PeerSettings settings = LocalhostPeer();
        settings.newest = GetParam().first;
        settings.tickets = GetParam().second;
        return settings;
    }

    /// A connection with a question and an answer, after which tickets have arrived. @return whether it was resumed.
    bool Converse(const std::shared_ptr<const TlsContext>& context, bool reset = false) {
        TlsPair pair(m_peer, context, m_sessions);
        const IoResult result = pair.Handshake();
        EXPECT_FALSE(result.error) << result.error.message();
        pair.Write("question");
        EXPECT_EQ(pair.peer.ReadExactly(8), "question");
        pair.peer.Write("answer");
        std::string text;
        pair.Read(text);
        EXPECT_EQ(text, "answer");
        EXPECT_EQ(pair.channel.resumed(), pair.peer.resumed());
        if (reset) {
            pair.peer.HardClose();
            EXPECT_TRUE(pair.Read(text).error);
        }
        return pair.peer.resumed();
    }

    PeerContext m_peer{Peer()};
    std::shared_ptr<SessionCache> m_sessions = std::make_shared<SessionCache>();
    std::shared_ptr<const TlsContext> m_context = ContextOf(TrustingSettings());
};

INSTANTIATE_TEST_SUITE_P(Kinds, Resumption,
                         ::testing::Values(std::pair{TLS1_2_VERSION, true}, std::pair{TLS1_2_VERSION, false},
                                           std::pair{TLS1_3_VERSION, true}),
                         [](const auto& each) {
                             return std::string(each.param.first == TLS1_2_VERSION ? "Tls12" : "Tls13") +
                                    (each.param.second ? "Tickets" : "Numbers");
                         });

} // namespace

TEST_P(Resumption, FollowsAFullHandshake) {
    EXPECT_FALSE(Converse(m_context));
    for (int i = 0; i < 5; ++i) {
        EXPECT_TRUE(Converse(m_context)) << i;
    }
}

TEST_P(Resumption, DoesNotCareHowTheConnectionBeforeEnded) {
    EXPECT_FALSE(Converse(m_context, true));
    EXPECT_TRUE(Converse(m_context, true));
    EXPECT_TRUE(Converse(m_context));
}

TEST_P(Resumption, StaysWithinOneGeneration) {
    EXPECT_FALSE(Converse(m_context));
    const auto newer = ContextOf(TrustingSettings());
    EXPECT_GT(newer->generation(), m_context->generation());
    EXPECT_FALSE(Converse(newer));
    EXPECT_TRUE(Converse(newer));
    EXPECT_FALSE(Converse(m_context)) << "an older generation finds nothing";
    EXPECT_TRUE(Converse(newer)) << "and leaves nothing";
}

TEST_P(Resumption, NeedsAPlaceForSessions) {
    m_sessions = nullptr;
    EXPECT_FALSE(Converse(m_context));
    EXPECT_FALSE(Converse(m_context));
}

TEST_P(Resumption, EndsWhenTheCacheIsCleared) {
    EXPECT_FALSE(Converse(m_context));
    m_sessions->Clear();
    EXPECT_FALSE(Converse(m_context));
}

TEST_P(Resumption, FallsBackToAFullHandshakeWhereTheServerHasForgotten) {
    EXPECT_FALSE(Converse(m_context));
    const PeerContext restarted(Peer());
    TlsPair pair(restarted, m_context, m_sessions);
    EXPECT_FALSE(pair.Handshake().error);
    EXPECT_FALSE(pair.peer.resumed());
    EXPECT_FALSE(pair.channel.resumed());
}

TEST(ResumptionOfTls13, UsesEachTicketOnce) {
    const PeerContext peer(LocalhostPeer());
    const auto sessions = std::make_shared<SessionCache>();
    const auto context = ContextOf(TrustingSettings());
    {
        TlsPair pair(peer, context, sessions);
        ASSERT_FALSE(pair.Handshake().error);
        pair.Settle();
    }
    // A server sends two tickets. These connections end before they could get another.
    for (const bool resumed : {true, true, false}) {
        TlsPair pair(peer, context, sessions);
        ASSERT_FALSE(pair.Handshake().error);
        EXPECT_EQ(pair.peer.resumed(), resumed);
    }
}

namespace {

SessionCache::SessionPtr NewSession() {
    return {SSL_SESSION_new(), &SSL_SESSION_free};
}

} // namespace

TEST(SessionCache, GivesTheLastOneFirstAndEachOnce) {
    SessionCache cache;
    auto first = NewSession();
    auto second = NewSession();
    const SSL_SESSION* const expected[] = {second.get(), first.get(), nullptr};
    cache.Put(std::move(first), 7);
    cache.Put(std::move(second), 7);
    for (const SSL_SESSION* each : expected) {
        EXPECT_EQ(cache.Take(7).get(), each);
    }
}

TEST(SessionCache, KeepsAFewAndDropsTheOldest) {
    SessionCache cache;
    std::vector<const SSL_SESSION*> all;
    for (std::size_t i = 0; i <= SessionCache::CAPACITY; ++i) {
        auto session = NewSession();
        all.push_back(session.get());
        cache.Put(std::move(session), 7);
    }
    for (std::size_t i = SessionCache::CAPACITY; i > 0; --i) {
        EXPECT_EQ(cache.Take(7).get(), all[i]);
    }
    EXPECT_EQ(cache.Take(7), nullptr);
}

TEST(SessionCache, DropsTheOldGenerationForTheNewOne) {
    SessionCache cache;
    cache.Put(NewSession(), 7);
    EXPECT_EQ(cache.Take(8), nullptr);
    EXPECT_EQ(cache.Take(7), nullptr) << "it is gone";
    cache.Put(NewSession(), 7);
    cache.Put(NewSession(), 8);
    cache.Put(NewSession(), 7);
    EXPECT_EQ(cache.Take(7), nullptr) << "what comes late is dropped";
    EXPECT_NE(cache.Take(8), nullptr);
    EXPECT_EQ(cache.Take(8), nullptr);
}
