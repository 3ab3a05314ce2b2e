// SPDX-License-Identifier: Apache-2.0
/// @file
/// What the tests that exchange tokens share.
#pragma once

#include <cstddef>
#include <ctime>
#include <string>

#include <httpclient/testing/Environment.h>
#include <httpclient/testing/FakeTokenService.h>

#include "IdentityTest.h"
#include "interpose/Clock.h"
#include "setting/TlsSetting.h"

/// Adds what an exchange takes: TLS in good order, a token service at the maintenance address, a credential,
/// the services "orders" and "stock", and a clock that stands still.
class ExchangeTest : public IdentityTest {
protected:
    ExchangeTest();

    /// @return the token that a URL gets; "before" when it was left alone.
    static std::string Token(const std::string& url, bool bSiaAccess = false, int result = 0);
    /// @return the token that is kept for a service, valid or not; "none" when there is none.
    static std::string Kept(const std::string& service);
    /// @return the messages of levels 3 and 5 that this thread has logged since the last call.
    Lines NewLines();
    /// @return the token that the token service gives a service at its n-th request.
    static std::string Nth(const std::string& service, int n);
    /// @return what is logged of a successful exchange for a URL.
    static Lines ExchangeLines(const std::string& url, const std::string& service, std::size_t length,
                               std::time_t receipt = NOW);

    static constexpr std::time_t NOW = 1'800'000'000;
    static constexpr std::time_t LIFE = 43200;
    static constexpr const char* ACCESS = "ServiceIdentityAccessService";

    const TlsSetting m_tls;
    const std::string m_maintenance;
    const httpclient::testing::ScopedEnvironment m_maintenanceVariable;
    httpclient::testing::FakeTokenService m_service;
    httpclient::testing::FakeClock m_clock{NOW};

private:
    std::size_t m_seen = 0;
};
