// SPDX-License-Identifier: Apache-2.0
// The limits and the release time: how they are set, and what is said about it.
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "PoolTest.h"

namespace {

class Limits : public PoolTest {
protected:
    void ExpectLimits(unsigned int perAddress, unsigned int addresses) {
        EXPECT_EQ(m_pool.GetConnPoolSize(), perAddress);
        EXPECT_EQ(m_pool.GetConnAddrSize(), addresses);
    }
};

TEST_F(Limits, AreAHundredConnectionsOfThirtyAddressesAtFirst) {
    ExpectLimits(100, 30);
    EXPECT_EQ(m_pool.m_releasedtime, 30);
}

TEST_F(Limits, AreNoCounts) {
    for (int i = 0; i < 3; ++i) {
        Get("host");
    }
    ExpectLimits(100, 30);
    EXPECT_EQ(TakeMessages(), Messages{});
}

TEST_F(Limits, PerAddressIsRaisedAloud) {
    m_pool.SetMaxConnPerAddr(101);
    EXPECT_EQ(TakeMessages(),
              (Messages{{PROGRESS, "CHttpConnectionMgr::SetMaxConnPerAddr, m_MaxConnNum=101"}}));
    ExpectLimits(101, 30);
    m_pool.SetMaxConnPerAddr(200);
    EXPECT_EQ(TakeMessages(),
              (Messages{{PROGRESS, "CHttpConnectionMgr::SetMaxConnPerAddr, m_MaxConnNum=200"}}));
    ExpectLimits(200, 30);
}

TEST_F(Limits, PerAddressIsNeitherLoweredNorRepeated) {
    for (const unsigned int value : {0u, 50u, 99u, 100u}) {
        m_pool.SetMaxConnPerAddr(value);
        ExpectLimits(100, 30);
    }
    m_pool.SetMaxConnPerAddr(200);
    TakeMessages();
    for (const unsigned int value : {100u, 199u, 200u}) {
        m_pool.SetMaxConnPerAddr(value);
        ExpectLimits(200, 30);
    }
    EXPECT_EQ(TakeMessages(), Messages{});
}

TEST_F(Limits, OfAddressesIsRaisedAloud) {
    m_pool.SetMaxConnAddr(31);
    EXPECT_EQ(TakeMessages(),
              (Messages{{PROGRESS, "CHttpConnectionMgr::SetMaxConnAddr, m_MaxConnCategory=31"}}));
    ExpectLimits(100, 31);
}

TEST_F(Limits, OfAddressesIsNeitherLoweredNorRepeated) {
    for (const unsigned int value : {0u, 29u, 30u}) {
        m_pool.SetMaxConnAddr(value);
        ExpectLimits(100, 30);
    }
    EXPECT_EQ(TakeMessages(), Messages{});
}

TEST_F(Limits, AreComparedWithoutSign) {
    m_pool.SetMaxConnPerAddr(2147483648u);
    m_pool.SetMaxConnAddr(4294967295u);
    EXPECT_EQ(TakeMessages(),
              (Messages{{PROGRESS, "CHttpConnectionMgr::SetMaxConnPerAddr, m_MaxConnNum=2147483648"},
                        {PROGRESS, "CHttpConnectionMgr::SetMaxConnAddr, m_MaxConnCategory=4294967295"}}));
    ExpectLimits(2147483648u, 4294967295u);
}

TEST_F(Limits, AreResizedEachOnItsOwnAndAlwaysAloud) {
    struct {
        unsigned int perAddress, addresses, newPerAddress, newAddresses;
    } const steps[] = {
        {10, 10, 100, 30},
        {99, 29, 100, 30},
        {100, 30, 100, 30},
        {101, 30, 101, 30},
        {50, 31, 101, 31},
        {101, 31, 101, 31},
        {102, 32, 102, 32},
        {200, 0, 200, 32},
        {0, 40, 200, 40},
        {0, 0, 200, 40},
        {4294967295u, 1, 4294967295u, 40},
        {1, 4294967295u, 4294967295u, 4294967295u},
    };
    for (const auto& step : steps) {
        m_pool.ResizeConnPool(step.perAddress, step.addresses);
        EXPECT_EQ(TakeMessages(),
                  (Messages{{PROGRESS, "CHttpConnectionMgr::ResizeConnPool, m_MaxConnNum=" +
                                           std::to_string(step.newPerAddress) +
                                           ", m_MaxConnCategory=" + std::to_string(step.newAddresses)}}));
        ExpectLimits(step.newPerAddress, step.newAddresses);
    }
}

TEST_F(Limits, HoldAsSoonAsTheyAreRaised) {
    m_pool.m_MaxConnNum = 1;
    m_pool.m_MaxConnCategory = 1;
    Get("host");
    EXPECT_EQ(Get("host"), nullptr);
    EXPECT_EQ(Get("other"), nullptr);
    m_pool.SetMaxConnPerAddr(2);
    EXPECT_NE(Get("host"), nullptr);
    EXPECT_EQ(Get("host"), nullptr);
    m_pool.SetMaxConnAddr(2);
    EXPECT_NE(Get("other"), nullptr);
    EXPECT_EQ(Get("another"), nullptr);
}

TEST_F(Limits, TheReleaseTimeIsSetAloudUpAndDown) {
    const std::vector<std::pair<std::int64_t, std::string>> values{
        {60, "60"},
        {30, "30"},
        {30, "30"},
        {0, "0"},
        {-1, "-1"},
        {std::numeric_limits<std::int64_t>::max(), "9223372036854775807"},
        {std::numeric_limits<std::int64_t>::min(), "-9223372036854775808"},
    };
    for (const auto& [seconds, text] : values) {
        m_pool.SetRlsTime(seconds);
        EXPECT_EQ(m_pool.m_releasedtime, seconds);
        EXPECT_EQ(TakeMessages(),
                  (Messages{{PROGRESS, "CHttpConnectionMgr::SetRlsTime, m_releasedtime=" + text}}));
    }
    ExpectLimits(100, 30);
}

} // namespace
