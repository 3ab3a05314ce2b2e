// SPDX-License-Identifier: Apache-2.0
// How a client comes to its profile, and what the two roads share: nothing.
#include <memory>

#include <httpclient/Client.h>
#include <httpclient/HttpClientWrap.h>
#include <httpclient/HttpConnectionMgr.h>

#include "BothRoads.h"
#include "client/HttpClientInter.h"
#include "message/HttpResponseInter.h"

using namespace httpclient::testing;

namespace {

/// Sets the default for a while.
class DefaultProfile {
public:
    explicit DefaultProfile(HTTPTRANSFERPROFILE profile) : m_former(CHttpClient().getTransferProfile()) {
        CHttpClient::setDefaultTransferProfile(profile);
    }
    ~DefaultProfile() { CHttpClient::setDefaultTransferProfile(m_former); }
    DefaultProfile(const DefaultProfile&) = delete;
    DefaultProfile& operator=(const DefaultProfile&) = delete;

private:
    HTTPTRANSFERPROFILE m_former;
};

constexpr auto NO_PROFILE = static_cast<HTTPTRANSFERPROFILE>(2);

class Profile : public StrictTest {
protected:
    LoopbackServer m_server{AnswerAll("answer")};
    CHttpResponse m_response;
    std::unique_ptr<CHttpRequest> m_get = MakeRequest(HTTPOPERATION_GET, "/");
};

} // namespace

TEST_F(Profile, IsCompatibleUnlessSetOtherwise) {
    const DefaultProfile ours(HTTPTRANSFERPROFILE_COMPATIBLE);
    EXPECT_EQ(CHttpClient().getTransferProfile(), HTTPTRANSFERPROFILE_COMPATIBLE);
}

TEST_F(Profile, IsTheClientsOwn) {
    CHttpClient one;
    CHttpClient other;
    one.setTransferProfile(HTTPTRANSFERPROFILE_STRICT);
    other.setTransferProfile(HTTPTRANSFERPROFILE_COMPATIBLE);
    EXPECT_EQ(one.getTransferProfile(), HTTPTRANSFERPROFILE_STRICT);
    EXPECT_EQ(other.getTransferProfile(), HTTPTRANSFERPROFILE_COMPATIBLE);
    one.setTransferProfile(NO_PROFILE);
    EXPECT_EQ(one.getTransferProfile(), HTTPTRANSFERPROFILE_STRICT) << "what is no profile is ignored";
}

TEST_F(Profile, OfClientsMadeLaterIsTheDefaultThoseOfFactoriesIncluded) {
    CHttpClient before;
    before.setTransferProfile(HTTPTRANSFERPROFILE_COMPATIBLE);
    const DefaultProfile ours(HTTPTRANSFERPROFILE_STRICT);
    CHttpClient::setDefaultTransferProfile(NO_PROFILE);
    EXPECT_EQ(before.getTransferProfile(), HTTPTRANSFERPROFILE_COMPATIBLE);
    EXPECT_EQ(CHttpClient().getTransferProfile(), HTTPTRANSFERPROFILE_STRICT);
    EXPECT_EQ(HttpClientWrap::MakeClientPtr("localhost", 1, 1, 1, true)->getTransferProfile(),
              HTTPTRANSFERPROFILE_STRICT);
    EXPECT_EQ(HttpClientWrap::MakeSSLClientPtr(1, 1)->getTransferProfile(), HTTPTRANSFERPROFILE_STRICT);
}

TEST_F(Profile, CanChangeBetweenTwoSends) {
    CHttpClient client;
    PointAt(client, m_server);
    for (const auto profile :
         {HTTPTRANSFERPROFILE_STRICT, HTTPTRANSFERPROFILE_COMPATIBLE, HTTPTRANSFERPROFILE_STRICT}) {
        client.setTransferProfile(profile);
        ASSERT_EQ(client.synSendRequest(*m_get, m_response, false), 200);
        EXPECT_EQ(m_server.requests().back().Header("User-Agent").has_value(),
                  profile == HTTPTRANSFERPROFILE_STRICT);
    }
}

TEST_F(Profile, KeepsTheRoadsApartSoThatNoConnectionIsShared) {
    CHttpClient compatible;
    compatible.setTransferProfile(HTTPTRANSFERPROFILE_COMPATIBLE);
    PointAt(compatible, m_server);
    StrictClient strict(m_server);
    for (int round = 0; round < 3; ++round) {
        ASSERT_EQ(compatible.synSendRequest(*m_get, m_response, false), 200);
        ASSERT_EQ(strict.synSendRequest(*m_get, m_response, false), 200);
    }
    EXPECT_EQ(m_server.connectionsAccepted(), 2U);
    for (const RecordedRequest& request : m_server.requests()) {
        EXPECT_EQ(request.connection, request.Header("User-Agent") ? 2U : 1U);
    }
    EXPECT_EQ(PooledConnections(m_server), 1U);
}

TEST_F(Profile, StrictSharesTheEnginesConnectionsAmongClients) {
    StrictClient one(m_server);
    StrictClient other(m_server);
    ASSERT_EQ(one.synSendRequest(*m_get, m_response, false), 200);
    ASSERT_EQ(other.synSendRequest(*m_get, m_response, false), 200);
    httpclient::Client modern{httpclient::ClientOptions("http://" + m_server.authority())};
    ASSERT_TRUE(modern.Send(httpclient::Request(httpclient::Method::Get, "/")));
    EXPECT_EQ(m_server.connectionsAccepted(), 1U);
    EXPECT_EQ(PooledConnections(m_server), 0U);
}

TEST_F(Profile, StrictFollowsSettingsThatChange) {
    LoopbackServer other(AnswerAll("other"));
    StrictClient client(m_server);
    ASSERT_EQ(client.synSendRequest(*m_get, m_response, false), 200);
    PointAt(client, other);
    ASSERT_EQ(client.synSendRequest(*m_get, m_response, false), 200);
    EXPECT_EQ(m_response.getResponseBody(), "other");
    client.setScheme("gopher");
    EXPECT_EQ(client.synSendRequest(*m_get, m_response, false), -1);
    client.setScheme("HTTP");
    EXPECT_EQ(client.synSendRequest(*m_get, m_response, false), 200) << "in either case";
    client.setDomain("");
    EXPECT_EQ(client.synSendRequest(*m_get, m_response, false), 200) << "an empty host is refused, as ever";
}

TEST_F(Profile, StrictBelongsToTheClientOfTheLibraryAlone) {
    CHttpClient client;
    client.m_pImp.reset();
    client.setTransferProfile(HTTPTRANSFERPROFILE_STRICT);
    client.setServerName("name");
    EXPECT_EQ(client.getTransferProfile(), HTTPTRANSFERPROFILE_COMPATIBLE);
    m_response.m_pImp.reset();
    EXPECT_EQ(m_response.getFailure(), nullptr);
}
