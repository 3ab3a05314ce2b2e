// SPDX-License-Identifier: Apache-2.0
/// @file
/// What the tests of service identity share.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include <httpclient/testing/Environment.h>

#include "setting/Log.h"

class CHttpSiaToken;

/// Messages of the library.
namespace message {

constexpr const char* SERVICES_NOT_OPENED = "[5] open service_url_config.json failed.";
constexpr const char* SERVICES_NOT_PARSED = "[5] load service_url_config.json failed.";
constexpr const char* SERVICES_EXCEPTION = "[5] parse service_url_config.json catch an exception.";
std::string ServicesLoaded(std::size_t count);
std::string JwtLoaded(std::size_t length, const std::string& fileName = "jwt_billing.json");

std::string NotNeeded(const std::string& url);
std::string Mapped(const std::string& url, const std::string& service);
std::string FromBuffer(std::size_t length);
constexpr const char* GET_FAILED = "[5] CHttpClientImp::AppendSlist, GetSiaToken failed";
constexpr const char* EXCHANGE_EXCEPTION = "[5] request sia token catch an exception.";
std::string ExchangeFailed(int status);
std::string Exchanged(std::size_t length, std::int64_t expireAt);
/// That libcurl failed to send the exchange; the text names the other way of sending.
std::string PostFailed(int result);

} // namespace message

/// Starts each test with a new log and without the singleton, in the environment of an application "billing"
/// that has service identity switched on and an empty directory for its configuration.
class IdentityTest : public ::testing::Test {
protected:
    IdentityTest();
    ~IdentityTest() override;

    /// Writes the service URL configuration.
    void WriteServices(std::string_view text) const;
    /// Writes the credential's file.
    void WriteJwt(std::string_view text) const;
    /// @return the path of a configuration file.
    std::filesystem::path File(const std::string& name) const;

    /// @return the singleton, made at the first call.
    static CHttpSiaToken& Sia();
    /// Ends the singleton, so that the next call makes another.
    static void EndSia();

    static constexpr const char* SERVICES = "service_url_config.json";
    static constexpr const char* JWT = "jwt_billing.json";

    const httpclient::testing::TemporaryDirectory m_application;

private:
    const httpclient::testing::ScopedEnvironment m_root;
    const httpclient::testing::ScopedEnvironment m_name;
    const httpclient::testing::ScopedEnvironment m_switch;
};
