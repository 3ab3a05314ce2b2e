// SPDX-License-Identifier: Apache-2.0
// The singleton: when it is made, what it reads then, and that it never reads again.
#include <atomic>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <sys/stat.h>

#include <httpclient/HttpClient.h>
#include <httpclient/testing/RecordingTrace.h>

#include "HeldMutex.h"
#include "IdentityTest.h"
#include "identity/HttpSiaToken.h"
#include "interpose/Allocations.h"
#include "setting/HeldPlatform.h"
#include "setting/OpenedFiles.h"
#include "setting/Secrets.h"
#include "support/Published.h"

using namespace httpclient::testing;

namespace {

const std::string ONE_SERVICE = R"({"/rest/*": {"type": "sia", "service": "orders"}})";

class Singleton : public IdentityTest {
protected:
    Singleton() {
        WriteServices(ONE_SERVICE);
        WriteJwt(R"({"jwt": ")" + Secret("jwt") + "\"}");
    }
    Lines LoadedMessages() const {
        return {message::ServicesLoaded(1), message::JwtLoaded(Secret("jwt").size())};
    }
};

} // namespace

TEST_F(Singleton, ReadsSwitchThenConfigurationThenCredential) {
    const HeldPlatform platform;
    const OpenedFiles opened;
    const CHttpSiaToken& sia = Sia();
    EXPECT_EQ(platform.VariablesRead(), (Lines{"enableServiceIdentity", "APP_ROOT", "APP_NAME", "APP_ROOT"}));
    EXPECT_EQ(opened.Paths(), (Lines{File(SERVICES), File(JWT)}));
    EXPECT_EQ(Logged(0), LoadedMessages());
    EXPECT_TRUE(sia.m_bServiceIdentity);
    EXPECT_EQ(sia.m_mapServiceUrl, (std::map<std::string, std::string>{{"/rest/*", "orders"}}));
    EXPECT_EQ(sia.m_strJwt, Secret("jwt"));
    EXPECT_TRUE(sia.m_mapSiaToken.empty());
}

TEST_F(Singleton, ReadsNoFileUnlessTheSwitchIsExactlyTrue) {
    const std::vector<const char*> values{"",       "True",   "TRUE",     "true ", " true", "true\n",
                                          "\ttrue", "1",      "on",       "yes",   "tru",   "truetrue",
                                          "false",  "true\r", "\"true\"", "enable"};
    for (const char* value : values) {
        const ScopedEnvironment variable("enableServiceIdentity", value);
        EndSia();
        const HeldPlatform platform;
        const OpenedFiles opened;
        const CHttpSiaToken& sia = Sia();
        EXPECT_EQ(platform.VariablesRead(), Lines{"enableServiceIdentity"}) << value;
        EXPECT_EQ(opened.Paths(), Lines{}) << value;
        EXPECT_FALSE(sia.m_bServiceIdentity) << value;
        EXPECT_TRUE(sia.m_mapServiceUrl.empty()) << value;
        EXPECT_EQ(sia.m_strJwt, "") << value;
    }
    const ScopedEnvironment unset("enableServiceIdentity");
    EndSia();
    const OpenedFiles opened;
    EXPECT_FALSE(Sia().m_bServiceIdentity);
    EXPECT_EQ(opened.Paths(), Lines{});
    EXPECT_EQ(Logged(0), Lines{});
}

TEST_F(Singleton, GivesNoTokenWithTheSwitchOff) {
    const ScopedEnvironment unset("enableServiceIdentity");
    for (const bool bSiaAccess : {false, true}) {
        for (const char* url : {"/rest/a", "", "/rest/sia/v1/tokens/jwt/sia"}) {
            std::string token = "before";
            EXPECT_EQ(Sia().GetSiaToken(url, token, bSiaAccess), 0);
            EXPECT_EQ(token, "before");
        }
    }
    EXPECT_EQ(Logged(0), Lines{});
}

TEST_F(Singleton, IsMadeByTheFirstClient) {
    EXPECT_EQ(LoadPublished(CHttpSiaToken::m_pInstance), nullptr);
    { const CHttpClient client; }
    EXPECT_NE(CHttpSiaToken::m_pInstance, nullptr);
    { const CHttpClient client; }
    EXPECT_EQ(Logged(0), LoadedMessages());
}

TEST_F(Singleton, IsMadeEvenWhenNothingCanBeLoaded) {
    std::filesystem::remove_all(File(""));
    EXPECT_NE(CHttpSiaToken::Instance(), nullptr);
    EXPECT_TRUE(Sia().m_bServiceIdentity);
    EXPECT_EQ(Logged(0), (Lines{message::SERVICES_NOT_OPENED, "[5] open jwt_billing.json failed."}));
    std::string token = "before";
    EXPECT_EQ(Sia().GetSiaToken("/rest/a", token, false), 0);
    EXPECT_EQ(token, "before");
}

TEST_F(Singleton, LoadsTheCredentialEvenWhenTheConfigurationIsBroken) {
    WriteServices("[]");
    Sia();
    EXPECT_EQ(Logged(0), (Lines{message::SERVICES_EXCEPTION, message::JwtLoaded(Secret("jwt").size())}));
    EXPECT_EQ(Sia().GetJwt(), Secret("jwt"));
}

TEST_F(Singleton, StaysTheSameAndReadsNothingAgain) {
    CHttpSiaToken* const first = CHttpSiaToken::Instance();
    const ScopedEnvironment unset("enableServiceIdentity");
    WriteServices("{}");
    WriteJwt("{}");
    const HeldPlatform platform;
    const OpenedFiles opened;
    EXPECT_EQ(CHttpSiaToken::Instance(), first);
    { const CHttpClient client; }
    std::string token;
    EXPECT_EQ(first->GetSiaToken("/elsewhere", token, false), 0);
    EXPECT_EQ(platform.VariablesRead(), Lines{});
    EXPECT_EQ(opened.Paths(), Lines{});
    EXPECT_TRUE(first->m_bServiceIdentity);
    EXPECT_EQ(first->GetJwt(), Secret("jwt"));
}

TEST_F(Singleton, ReadsItsSwitchAnewWhenAsked) {
    CHttpSiaToken sia;
    EXPECT_FALSE(sia.m_bServiceIdentity);
    EXPECT_TRUE(sia.GetServiceIdentitySwitch());
    EXPECT_TRUE(sia.m_bServiceIdentity);
    {
        const ScopedEnvironment off("enableServiceIdentity", "True");
        EXPECT_FALSE(sia.GetServiceIdentitySwitch());
        EXPECT_FALSE(sia.m_bServiceIdentity);
    }
    EXPECT_TRUE(sia.GetServiceIdentitySwitch());
    EXPECT_EQ(Logged(0), Lines{});
}

TEST_F(Singleton, IsMadeOnceWhileOthersWaitForIt) {
    std::filesystem::remove(File(SERVICES));
    ASSERT_EQ(mkfifo(File(SERVICES).c_str(), 0600), 0); // reading it waits for a writer
    auto maker = Elsewhere([] { return CHttpSiaToken::Instance(); });
    std::ofstream writer(File(SERVICES)); // waits for the reader: its lock is held from before
    EXPECT_FALSE(IsFree(CHttpSiaToken::m_Mutex.lock_));
    EXPECT_EQ(LoadPublished(CHttpSiaToken::m_pInstance), nullptr);
    std::atomic<int> waiting{0};
    std::vector<std::future<CHttpSiaToken*>> others;
    for (int i = 0; i < 4; ++i) {
        others.push_back(Elsewhere([&waiting] {
            ++waiting;
            return CHttpSiaToken::Instance();
        }));
    }
    while (waiting < 4) {
        std::this_thread::yield();
    }
    EXPECT_EQ(LoadPublished(CHttpSiaToken::m_pInstance), nullptr);
    writer << ONE_SERVICE;
    writer.close();
    CHttpSiaToken* const made = maker.get();
    ASSERT_NE(made, nullptr);
    for (auto& other : others) {
        EXPECT_EQ(other.get(), made);
    }
    EXPECT_EQ(TraceRecorder::Instance().Messages().size(), 2U); // each file was loaded once
    EXPECT_EQ(made->m_mapServiceUrl.size(), 1U);
    EXPECT_TRUE(IsFree(CHttpSiaToken::m_Mutex.lock_));
}

TEST_F(Singleton, IsHandedOutWithoutTheLockOnceMade) {
    CHttpSiaToken* const made = CHttpSiaToken::Instance();
    HeldMutex held(CHttpSiaToken::m_Mutex.lock_);
    auto other = Elsewhere([] { return CHttpSiaToken::Instance(); });
    EXPECT_TRUE(Ends(other));
    held.Release();
    EXPECT_EQ(other.get(), made);
}

TEST_F(Singleton, OfAnotherMakerIsTakenByWhoHasWaitedForTheLock) {
    HeldMutex held(CHttpSiaToken::m_Mutex.lock_);
    auto other = Elsewhere([] { return CHttpSiaToken::Instance(); });
    EXPECT_TRUE(held.WaitForWaiter());
    auto* const made = new CHttpSiaToken;
    Publish(CHttpSiaToken::m_pInstance, made);
    held.Release();
    EXPECT_EQ(other.get(), made);
    EXPECT_EQ(TraceRecorder::Instance().Messages().size(), 0U);
    EXPECT_TRUE(IsFree(CHttpSiaToken::m_Mutex.lock_));
}

TEST_F(Singleton, IsMadeEvenWhenItsLockCannotBeTaken) {
    const RefusingMutex refusing(CHttpSiaToken::m_Mutex.lock_);
    EXPECT_NE(CHttpSiaToken::Instance(), nullptr);
    EXPECT_EQ(Logged(0), LoadedMessages());
    EXPECT_FALSE(refusing.WasReleased());
}

TEST_F(Singleton, ThrowsWhenMemoryRunsOutAndIsMadeAtTheNextCall) {
    std::size_t refused = 0;
    for (std::size_t failing = 1; CHttpSiaToken::m_pInstance == nullptr; ++failing) {
        if (!SurvivesFailureOf(failing, [] { CHttpSiaToken::Instance(); })) {
            ++refused;
            EXPECT_EQ(LoadPublished(CHttpSiaToken::m_pInstance), nullptr);
            EXPECT_TRUE(IsFree(CHttpSiaToken::m_Mutex.lock_));
        }
    }
    EXPECT_GT(refused, 0U);
    EXPECT_TRUE(Sia().m_bServiceIdentity);
}

TEST_F(Singleton, HoldsRecordsThatAreExpiredAsLongAsTheyAreNew) {
    const SiaToken record;
    EXPECT_EQ(record.token, "");
    EXPECT_EQ(record.expire_at, 0);
    EXPECT_FALSE(Sia().IsTokenValid(record));
}
