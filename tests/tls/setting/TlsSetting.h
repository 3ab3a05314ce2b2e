// SPDX-License-Identifier: Apache-2.0
/// @file
/// All that mutual TLS needs: a CA, certificates, a key with an encrypted password, and where they are found.
#pragma once

#include <string>

#include <gtest/gtest.h>

#include <httpclient/testing/Certificates.h>
#include <httpclient/testing/Environment.h>
#include <httpclient/testing/TlsLoopbackServer.h>
#include <httpclient/testing/TlsRoot.h>

/// Closes every connection that the pool holds, and the pool.
void ClosePool();

/// A TLS root in good order, with the environment that leads to it. Closes the pool when it ends.
class TlsSetting {
public:
    TlsSetting();
    ~TlsSetting();
    TlsSetting(const TlsSetting&) = delete;
    TlsSetting& operator=(const TlsSetting&) = delete;

    /// @return what the key file is encrypted with.
    static std::string Password();
    /// @return a text, encrypted as the library decrypts it; by default as manifests hold it.
    static std::string Encrypted(const std::string& plainText, int key = 1, unsigned int value = 19);

    const httpclient::testing::CertificateAuthority& ca() const { return m_ca; }
    /// @return the client's identity.
    const httpclient::testing::Identity& client() const { return m_client; }
    const httpclient::testing::TlsRoot& root() const { return m_root; }
    /// @return how a server does TLS that demands a certificate of this CA.
    httpclient::testing::TlsOptions Server() const;
    /// Replaces the client's identity by one whose time is over.
    void ExpireClient() const;

private:
    httpclient::testing::TemporaryDirectory m_keys;
    httpclient::testing::ScopedEnvironment m_keyFile;
    httpclient::testing::CertificateAuthority m_ca;
    httpclient::testing::Identity m_client;
    httpclient::testing::TlsRoot m_root;
    httpclient::testing::ScopedEnvironment m_sslRoot;
};
