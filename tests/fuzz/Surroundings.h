// SPDX-License-Identifier: Apache-2.0
/// @file
/// What the library finds around it while it is fuzzed.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include <httpclient/testing/Environment.h>

/// An application "fuzz" whose configuration and TLS files lie in a temporary directory. Made at the first
/// call, there until the process ends.
class Surroundings {
public:
    static const Surroundings& Instance();

    void WriteManifest(std::string_view text) const;
    void WriteServiceUrls(std::string_view text) const;
    void WriteJwt(std::string_view text) const;

private:
    Surroundings();

    httpclient::testing::TemporaryDirectory m_directory;
    httpclient::testing::ScopedEnvironment m_sslRoot;
    httpclient::testing::ScopedEnvironment m_applicationRoot;
    httpclient::testing::ScopedEnvironment m_applicationName;
    httpclient::testing::ScopedEnvironment m_masterKey;
    httpclient::testing::ScopedEnvironment m_maintenanceAddress;
};

/// Starts a new log.
void StartLog();
/// @return what was logged, as in "[5] text".
std::vector<std::string> Logged();
