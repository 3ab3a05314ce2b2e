// SPDX-License-Identifier: Apache-2.0
/// @file
/// What the library and its servers find: certificates, keys, configuration, and where it all lies.
#pragma once

#include <string>

#include <httpclient/testing/Certificates.h>
#include <httpclient/testing/Environment.h>
#include <httpclient/testing/TlsLoopbackServer.h>
#include <httpclient/testing/TlsRoot.h>

/// The service whose tokens are asked for; requests to paths below "/sia/" carry them.
constexpr const char* SERVICE = "soak-service";

/// Lays out the files of an application with mutual TLS and service identity, and sets the environment that
/// leads to them. To be made before any thread.
class Setting {
public:
    Setting();

    /// @return where the servers' side finds its own files.
    std::string serverDirectory() const { return m_directory.path() / "servers"; }
    /// @return the loopback address of all servers.
    const std::string& address() const { return m_address; }

private:
    httpclient::testing::TemporaryDirectory m_directory;
    httpclient::testing::ScopedEnvironment m_masterKey;
    httpclient::testing::CertificateAuthority m_ca;
    httpclient::testing::TlsRoot m_root;
    std::string m_address;
    httpclient::testing::ScopedEnvironment m_sslRoot;
    httpclient::testing::ScopedEnvironment m_applicationRoot;
    httpclient::testing::ScopedEnvironment m_applicationName;
    httpclient::testing::ScopedEnvironment m_identity;
    httpclient::testing::ScopedEnvironment m_maintenance;
    httpclient::testing::ScopedEnvironment m_traceFile;
};

/// @return how the servers do TLS, read from the files of their directory.
httpclient::testing::TlsOptions ReadTlsOptions(const std::string& directory);
