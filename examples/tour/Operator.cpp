// SPDX-License-Identifier: Apache-2.0
#include "tour/Operator.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include <fmt/format.h>

#include "tour/Tour.h"

namespace tour {
namespace {

constexpr const char* SERVER = "/test-server";
constexpr const char* APPLICATION = "tour";

} // namespace

Operator::Operator(Tour& tour) : m_tour(tour) {
    const char* path = std::getenv("PATH");
    setenv("PATH", fmt::format("{}:{}", OVEX_TLS_DIRECTORY, path == nullptr ? "" : path).c_str(), 1);
}

void Operator::SetEnvironment(const std::string& name, const std::string& value) {
    setenv(name.c_str(), value.c_str(), 1);
    m_tour.Note(fmt::format("$ export {}={}", name, value));
}

void Operator::Run(const std::string& command) {
    m_tour.Note("$ " + command);
    if (std::system((command + " >/dev/null").c_str()) != 0) { // NOLINT: the text is this program's own
        throw std::runtime_error(command + " failed");
    }
}

void Operator::SetUpTls() {
    SetEnvironment("VORN_KEY_FILE", m_tour.Directory() + "/master.key");
    SetEnvironment("SSL_ROOT", m_tour.Directory() + "/tls");
    Run("ovex-tls init-key");
    Run(R"(ovex-tls layout "$SSL_ROOT" --self-signed --host somewhere.invalid)");
}

std::string Operator::ServerDirectory() const {
    return m_tour.Directory() + "/tls" + SERVER;
}

std::string Operator::MakeForeignServer() {
    SetEnvironment("FOREIGN_ROOT", m_tour.Directory() + "/foreign");
    Run(R"(ovex-tls layout "$FOREIGN_ROOT" --self-signed)");
    return m_tour.Directory() + "/foreign" + SERVER;
}

void Operator::Write(const std::string& file, const std::string& text) {
    std::filesystem::create_directories(std::filesystem::path(file).parent_path());
    std::ofstream stream(file);
    stream << text;
    if (!stream.flush()) {
        throw std::runtime_error("cannot write " + file);
    }
}

void Operator::SetUpIdentity(const std::string& urlPath, const std::string& service,
                             const std::string& credential, const std::string& address) {
    SetEnvironment("enableServiceIdentity", "true");
    SetEnvironment("APP_ROOT", m_tour.Directory());
    SetEnvironment("APP_NAME", APPLICATION);
    SetEnvironment("OVEX_MAINTENANCE_IP", address);
    const std::string directory = m_tour.Directory() + "/etc/authconf/jwt/";
    const std::string services =
        fmt::format(R"({{"{}": {{"type": "sia", "service": "{}"}}}})", urlPath, service);
    Write(directory + "service_url_config.json", services);
    m_tour.Note("service_url_config.json: " + services);
    Write(directory + "jwt_" + APPLICATION + ".json", fmt::format(R"({{"jwt": "{}"}})", credential));
    m_tour.Note(fmt::format("jwt_{}.json: the credential, {} characters", APPLICATION, credential.size()));
}

} // namespace tour
