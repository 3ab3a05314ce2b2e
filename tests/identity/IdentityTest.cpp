// SPDX-License-Identifier: Apache-2.0
#include "IdentityTest.h"

#include <utility>

#include "identity/HttpSiaToken.h"

namespace {

const std::filesystem::path DIRECTORY = "etc/authconf/jwt";

} // namespace

std::string message::ServicesLoaded(std::size_t count) {
    return "[3] load service_url_config.json successfully, sia url count: " + std::to_string(count);
}

std::string message::JwtLoaded(std::size_t length, const std::string& fileName) {
    return "[3] load " + fileName + " successfully, jwt length: " + std::to_string(length);
}

std::string message::NotNeeded(const std::string& url) {
    return "[3] no need to get sia token, url: " + url;
}

std::string message::Mapped(const std::string& url, const std::string& service) {
    return "[3] CHttpSiaToken::GetServiceNameByUrl, url: " + url + ", domain:" + service;
}

std::string message::FromBuffer(std::size_t length) {
    return "[3] get sia token from buffer, token length: " + std::to_string(length);
}

std::string message::ExchangeFailed(int status) {
    return "[5] request sia token failed. status: " + std::to_string(status);
}

std::string message::Exchanged(std::size_t length, std::int64_t expireAt) {
    return "[3] request sia token successfully. token length: " + std::to_string(length) +
           ", expire_at: " + std::to_string(expireAt);
}

std::string message::PostFailed(int result) {
    return "[5] HTTP synSendRequest::Posts curl_easy_perform call failed, error no is:" +
           std::to_string(result);
}

IdentityTest::IdentityTest()
    : m_root("APP_ROOT", m_application.path()), m_name("APP_NAME", "billing"),
      m_switch("enableServiceIdentity", "true") {
    std::filesystem::create_directories(m_application.path() / DIRECTORY);
    EndSia();
    StartLog();
}

IdentityTest::~IdentityTest() {
    EndSia();
}

void IdentityTest::WriteServices(std::string_view text) const {
    m_application.Write(DIRECTORY / SERVICES, text);
}

void IdentityTest::WriteJwt(std::string_view text) const {
    m_application.Write(DIRECTORY / JWT, text);
}

std::filesystem::path IdentityTest::File(const std::string& name) const {
    return m_application.path() / DIRECTORY / name;
}

CHttpSiaToken& IdentityTest::Sia() {
    return *CHttpSiaToken::Instance();
}

void IdentityTest::EndSia() {
    delete std::exchange(CHttpSiaToken::m_pInstance, nullptr);
}
