// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <httpclient/HttpConnectionMgr.h>

#include "client/ConnectionLoan.h"
#include "interpose/Allocations.h"
#include "pool/HttpConnection.h"

using httpclient::testing::CountedNew;

namespace {

class ConnectionReturnTest : public ::testing::Test {
protected:
    ConnectionReturnTest() { m_conn.SetIdle(false); }
    ~ConnectionReturnTest() override { CHttpConnectionMgr::Finalize(); }

    CHttpConnection m_conn{"127.0.0.1", 80};
};

} // namespace

TEST_F(ConnectionReturnTest, GivesTheConnectionBackAtItsEnd) {
    {
        const ConnectionReturn conn(&m_conn);
        EXPECT_EQ(conn.get(), &m_conn);
        EXPECT_FALSE(m_conn.IsIdle());
    }
    EXPECT_TRUE(m_conn.IsIdle());
}

TEST_F(ConnectionReturnTest, KeepsOutOfWhatItHasLetGo) {
    {
        ConnectionReturn conn(&m_conn);
        EXPECT_EQ(conn.release(), &m_conn);
        EXPECT_EQ(conn.get(), nullptr);
    }
    EXPECT_FALSE(m_conn.IsIdle());
}

TEST_F(ConnectionReturnTest, OfNothingDoesNothing) {
    { const ConnectionReturn conn(nullptr); }
    EXPECT_EQ(CHttpConnectionMgr::m_pInstance, nullptr) << "not even a pool is made";
}

TEST_F(ConnectionReturnTest, SurvivesAPoolThatIsGoneAndCannotBeMadeAgain) {
    CHttpConnectionMgr::Instance();
    {
        const ConnectionReturn conn(&m_conn);
        CHttpConnectionMgr::Finalize();
        {
            const CountedNew failing(1);
            const ConnectionReturn second(&m_conn); // ends first
        }
        EXPECT_EQ(CHttpConnectionMgr::m_pInstance, nullptr);
        EXPECT_FALSE(m_conn.IsIdle());
    }
    EXPECT_TRUE(m_conn.IsIdle()) << "a new pool has taken it";
}
