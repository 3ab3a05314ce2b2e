// SPDX-License-Identifier: Apache-2.0
// The tokens that are kept: which are given, until when, and what drops them.
#include <ctime>
#include <functional>
#include <limits>
#include <map>
#include <string>

#include "HeldMutex.h"
#include "IdentityTest.h"
#include "identity/HttpSiaToken.h"
#include "interpose/Clock.h"
#include "setting/Secrets.h"

using namespace httpclient::testing;

namespace {

constexpr std::time_t NOW = 1'800'000'000;
constexpr const char* ACCESS = "ServiceIdentityAccessService";

/// An instance with service identity on and two services, and without a credential, so that it
/// obtains no token.
class TokenCache : public IdentityTest {
protected:
    TokenCache() {
        m_sia.m_bServiceIdentity = true;
        m_sia.m_mapServiceUrl = {{"/orders/*", "orders"}, {"/stock", "stock"}, {"/orders", "orders"}};
    }
    void Keep(const std::string& service, const std::string& token, std::time_t expireAt = NOW + 1) {
        m_sia.m_mapSiaToken[service].token = token;
        m_sia.m_mapSiaToken[service].expire_at = expireAt;
    }
    bool Keeps(const std::string& service) const { return m_sia.m_mapSiaToken.count(service) != 0; }
    /// @return the token that a URL gets; "before" when it was left alone.
    std::string Token(const std::string& url, bool bSiaAccess = false, int result = 0) {
        std::string token = "before";
        EXPECT_EQ(m_sia.GetSiaToken(url, token, bSiaAccess), result) << url;
        return token;
    }

    FakeClock m_clock{NOW};
    CHttpSiaToken m_sia;
};

} // namespace

TEST_F(TokenCache, GivesACopyOfARecord) {
    Keep("orders", Secret("orders"), NOW - 5);
    SiaToken record;
    EXPECT_EQ(m_sia.GetTokenFromBuf("orders", record), 0);
    EXPECT_EQ(record.token, Secret("orders"));
    EXPECT_EQ(record.expire_at, NOW - 5); // expired ones, too
    record.token = "other";
    EXPECT_EQ(m_sia.m_mapSiaToken["orders"].token, Secret("orders"));
    EXPECT_EQ(Logged(0), Lines{});
}

TEST_F(TokenCache, LeavesTheRecordAloneWhenItHasNone) {
    Keep("orders", Secret("orders"));
    SiaToken record;
    record.token = "before";
    record.expire_at = 7;
    for (const char* service : {"stock", "", "Orders", "orders ", "/orders"}) {
        EXPECT_EQ(m_sia.GetTokenFromBuf(service, record), -1);
    }
    EXPECT_EQ(record.token, "before");
    EXPECT_EQ(record.expire_at, 7);
    EXPECT_EQ(m_sia.m_mapSiaToken.size(), 1U); // asking adds nothing
}

TEST_F(TokenCache, TakesARecordForValidWhileItsEndIsAhead) {
    using Limits = std::numeric_limits<std::time_t>;
    const std::pair<std::time_t, bool> rows[] = {
        {NOW - 1, false}, {NOW, false},           {NOW + 1, true}, {0, false},
        {-1, false},      {Limits::min(), false}, {NOW * 2, true}, {Limits::max(), true}};
    for (const auto& [expireAt, valid] : rows) {
        SiaToken record;
        record.expire_at = expireAt;
        EXPECT_EQ(m_sia.IsTokenValid(record), valid) << expireAt;
    }
    SiaToken record;
    m_clock.Set(-10);
    record.expire_at = -9;
    EXPECT_TRUE(m_sia.IsTokenValid(record));
    record.expire_at = -10;
    EXPECT_FALSE(m_sia.IsTokenValid(record));
    EXPECT_EQ(Logged(0), Lines{});
}

TEST_F(TokenCache, GivesTheServicesTokenToEachOfItsUrls) {
    Keep("orders", Secret("orders"));
    Keep("stock", Secret("stock-long"));
    EXPECT_EQ(Token("/orders/1"), Secret("orders"));
    EXPECT_EQ(Token("/orders?x=1"), Secret("orders"));
    EXPECT_EQ(Token("/stock/"), Secret("stock-long"));
    EXPECT_EQ(Logged(0), (Lines{message::Mapped("/orders/1", "orders"), message::FromBuffer(13),
                                message::Mapped("/orders?x=1", "orders"), message::FromBuffer(13),
                                message::Mapped("/stock/", "stock"), message::FromBuffer(17)}));
}

TEST_F(TokenCache, GivesAnEmptyTokenAsItIs) {
    Keep("orders", "");
    EXPECT_EQ(Token("/orders"), "");
    EXPECT_EQ(Logged(0), (Lines{message::Mapped("/orders", "orders"), message::FromBuffer(0)}));
}

TEST_F(TokenCache, GivesATokenUpToItsLastSecond) {
    Keep("orders", Secret("orders"), NOW + 43200);
    m_clock.Set(NOW + 43199);
    EXPECT_EQ(Token("/orders"), Secret("orders"));
    m_clock.Set(NOW + 43200);
    EXPECT_EQ(Token("/orders", false, -1), "before"); // there is no credential to get another with
    EXPECT_EQ(m_sia.m_mapSiaToken["orders"].token, Secret("orders"));
    m_clock.Set(NOW); // a clock that was put back makes it valid again
    EXPECT_EQ(Token("/orders"), Secret("orders"));
}

TEST_F(TokenCache, SaysNothingOfItsOwnWithoutACredential) {
    EXPECT_EQ(Token("/orders", false, -1), "before");
    EXPECT_EQ(Logged(0), Lines{message::Mapped("/orders", "orders")});
    SiaToken record;
    record.token = "before";
    EXPECT_EQ(m_sia.RequestSiaToken("orders", record), -1);
    EXPECT_EQ(record.token, "before");
    EXPECT_EQ(Logged(0).size(), 1U);
    EXPECT_FALSE(Keeps("orders"));
}

TEST_F(TokenCache, WantsNoTokenForAUrlOfNoService) {
    for (const char* url : {"/elsewhere", "/order", "", "/stock/1", "/%s%n%d"}) {
        StartLog();
        EXPECT_EQ(Token(url), "before");
        EXPECT_EQ(Logged(0), Lines{message::NotNeeded(url)});
    }
}

TEST_F(TokenCache, WantsNoTokenForAUrlWhoseServiceHasNoName) {
    m_sia.m_mapServiceUrl["/nameless"] = "";
    EXPECT_EQ(Token("/nameless"), "before");
    EXPECT_EQ(Logged(0), Lines{message::NotNeeded("/nameless")});
    EXPECT_EQ(m_sia.EraseTokenFromBuf("/nameless", false), -1);
}

TEST_F(TokenCache, WantsNoTokenForTheTokenServicesOwnPath) {
    m_sia.m_mapServiceUrl["*"] = "orders";
    Keep("orders", Secret("orders"));
    Keep(ACCESS, Secret("access"));
    for (const char* url : {"/rest/sia/v1/tokens/jwt/sia", "/a/rest/sia/v1/tokens/jwt/sia/b",
                            "/orders/rest/sia/v1/tokens/jwt/siax", "/orders?x=/rest/sia/v1/tokens/jwt/sia"}) {
        EXPECT_EQ(Token(url, false), "before");
        EXPECT_EQ(Token(url, true), "before");
    }
    EXPECT_EQ(Logged(0), Lines{});
    for (const char* url : {"/rest/sia/v1/tokens/jwt/si", "/REST/sia/v1/tokens/jwt/sia",
                            "rest/sia/v1/tokens/jwt/sia", "/rest/sia/v1/tokens//jwt/sia"}) {
        EXPECT_EQ(Token(url), Secret("orders"));
    }
}

TEST_F(TokenCache, GivesSiaAccessTheTokenOfTheFixedService) {
    Keep("orders", Secret("orders"));
    Keep(ACCESS, Secret("access"));
    for (const char* url : {"/orders", "/elsewhere", ""}) {
        StartLog();
        EXPECT_EQ(Token(url, true), Secret("access"));
        EXPECT_EQ(Logged(0), (Lines{message::Mapped(url, ACCESS), message::FromBuffer(13)}));
    }
}

TEST_F(TokenCache, GivesNothingWithTheSwitchOff) {
    m_sia.m_bServiceIdentity = false;
    Keep("orders", Secret("orders"));
    Keep(ACCESS, Secret("access"));
    EXPECT_EQ(Token("/orders"), "before");
    EXPECT_EQ(Token("/orders", true), "before");
    EXPECT_EQ(Token("/elsewhere"), "before");
    EXPECT_EQ(Logged(0), Lines{});
}

TEST_F(TokenCache, LosesTheTokenOfAServiceForAllItsUrls) {
    Keep("orders", Secret("orders"));
    Keep("stock", Secret("stock"));
    EXPECT_EQ(m_sia.EraseTokenFromBuf("/orders/7?x=1", false), 0);
    EXPECT_FALSE(Keeps("orders"));
    EXPECT_TRUE(Keeps("stock"));
    EXPECT_EQ(Token("/orders", false, -1), "before");
    EXPECT_EQ(m_sia.EraseTokenFromBuf("/orders", false), 0); // there is none any more
    EXPECT_EQ(m_sia.EraseTokenFromBuf("/stock", false), 0);
    EXPECT_TRUE(m_sia.m_mapSiaToken.empty());
}

TEST_F(TokenCache, LosesNothingForAUrlOfNoService) {
    Keep("orders", Secret("orders"));
    Keep("", Secret("nameless"));
    for (const char* url : {"/elsewhere", "", "orders", "/stock/1"}) {
        EXPECT_EQ(m_sia.EraseTokenFromBuf(url, false), -1) << url;
    }
    EXPECT_EQ(m_sia.m_mapSiaToken.size(), 2U);
    EXPECT_EQ(Logged(0), Lines{});
}

TEST_F(TokenCache, LosesTheTokenOfSiaAccessForAnyUrl) {
    for (const char* url : {"/orders", "/elsewhere", ""}) {
        Keep("orders", Secret("orders"));
        Keep(ACCESS, Secret("access"));
        EXPECT_EQ(m_sia.EraseTokenFromBuf(url, true), 0);
        EXPECT_TRUE(Keeps("orders"));
        EXPECT_FALSE(Keeps(ACCESS));
        EXPECT_EQ(m_sia.EraseTokenFromBuf(url, true), 0);
    }
}

TEST_F(TokenCache, LosesATokenWhateverTheSwitchSays) {
    m_sia.m_bServiceIdentity = false;
    Keep("orders", Secret("orders"));
    Keep(ACCESS, Secret("access"));
    EXPECT_EQ(m_sia.EraseTokenFromBuf("/orders", false), 0);
    EXPECT_EQ(m_sia.EraseTokenFromBuf("/elsewhere", true), 0);
    EXPECT_EQ(m_sia.EraseTokenFromBuf("/elsewhere", false), -1);
    EXPECT_TRUE(m_sia.m_mapSiaToken.empty());
    EXPECT_EQ(Logged(0), Lines{});
}

TEST_F(TokenCache, LosesTheTokenOfTheTokenServicesOwnPathToo) {
    m_sia.m_mapServiceUrl["/rest/*"] = "orders";
    Keep("orders", Secret("orders"));
    EXPECT_EQ(m_sia.EraseTokenFromBuf("/rest/sia/v1/tokens/jwt/sia", false), 0);
    EXPECT_FALSE(Keeps("orders"));
}

TEST_F(TokenCache, IsLockedForEachLookUpComparisonAndErasure) {
    Keep("orders", Secret("orders"));
    SiaToken record;
    const std::function<void()> operations[] = {
        [&] { EXPECT_EQ(m_sia.GetTokenFromBuf("orders", record), 0); },
        [&] { EXPECT_EQ(m_sia.GetTokenFromBuf("stock", record), -1); },
        [&] { EXPECT_FALSE(m_sia.IsTokenValid(SiaToken())); },
        [&] { EXPECT_EQ(m_sia.EraseTokenFromBuf("/stock", false), 0); },
        [&] { EXPECT_EQ(Token("/orders"), Secret("orders")); },
    };
    for (const auto& operation : operations) {
        HeldMutex held(m_sia.m_TokenMutex.lock_);
        auto done = Elsewhere(operation);
        EXPECT_TRUE(held.WaitForWaiter());
        held.Release();
        done.get();
        EXPECT_TRUE(IsFree(m_sia.m_TokenMutex.lock_));
    }
}

TEST_F(TokenCache, IsNotLockedForWhatIsReadOnly) {
    HeldMutex held(m_sia.m_TokenMutex.lock_);
    auto done = Elsewhere([this] {
        EXPECT_EQ(m_sia.GetServiceNameByUrl("/orders", false), "orders");
        EXPECT_EQ(m_sia.GetJwt(), "");
        EXPECT_EQ(m_sia.EraseTokenFromBuf("/elsewhere", false), -1);
        EXPECT_EQ(Token("/elsewhere"), "before");
        SiaToken record;
        EXPECT_EQ(m_sia.RequestSiaToken("orders", record), -1);
    });
    EXPECT_TRUE(Ends(done));
    held.Release();
    done.get();
}

TEST_F(TokenCache, IsUsedWithoutItsLockWhenThatCannotBeTaken) {
    Keep("orders", Secret("orders"));
    const RefusingMutex refusing(m_sia.m_TokenMutex.lock_);
    SiaToken record;
    EXPECT_EQ(m_sia.GetTokenFromBuf("orders", record), 0);
    EXPECT_EQ(record.token, Secret("orders"));
    EXPECT_EQ(m_sia.GetTokenFromBuf("stock", record), -1);
    EXPECT_TRUE(m_sia.IsTokenValid(record));
    EXPECT_EQ(Token("/orders"), Secret("orders"));
    EXPECT_EQ(m_sia.EraseTokenFromBuf("/orders", false), 0);
    EXPECT_FALSE(Keeps("orders"));
    EXPECT_FALSE(refusing.WasReleased());
}
