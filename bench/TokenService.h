// SPDX-License-Identifier: Apache-2.0
/// @file
/// Where the second road gets the measured token from: its store is filled by an exchange, as a host's is.
#pragma once

#include <string>

#include <httpclient/testing/Certificates.h>
#include <httpclient/testing/Environment.h>
#include <httpclient/testing/FakeTokenService.h>

#include "cost/CachedToken.h"

/// A token service at this process's own address, which the environment names while it lives, with the measured token.
///
/// The client's TLS files have to be of the same authority.
class TokenService {
public:
    explicit TokenService(const httpclient::testing::CertificateAuthority& ca)
        : m_address(httpclient::testing::ProcessLoopbackAddress()),
          m_variable("OVEX_MAINTENANCE_IP", m_address),
          m_service({ca.IssueServer(), ca.certificatePem()}, m_address) {
        m_service.SetTokens(MEASURED_SERVICE, {MeasuredToken()});
    }

private:
    const std::string m_address;
    const httpclient::testing::ScopedEnvironment m_variable;
    httpclient::testing::FakeTokenService m_service;
};
