// SPDX-License-Identifier: Apache-2.0
#include "Setting.h"

#include <stdexcept>

#include <vorncipher/VornCipherEncrypt.h>
#include <vorncipher/VornMasterKey.h>

#include <httpclient/testing/Files.h>

using namespace httpclient::testing;

namespace {

constexpr const char* PASSWORD = "password of the key file";

std::string MakeMasterKey(const std::string& path) {
    if (VornMasterKey::Make(path) != VORN_OK) {
        throw std::runtime_error("no master key");
    }
    return path;
}

std::string EncryptedPassword() {
    std::string cipherText;
    if (VornCipherEncrypt::Encrypt(PASSWORD, cipherText, static_cast<VornCipherKey>(1), 19) != VORN_OK) {
        throw std::runtime_error("not encrypted");
    }
    return cipherText;
}

} // namespace

Setting::Setting()
    : m_masterKey("VORN_KEY_FILE", MakeMasterKey(m_directory.path() / "master.key")),
      m_root(m_ca.certificatePem(), m_ca.IssueClient("soak"), PASSWORD, EncryptedPassword()),
      m_address(ProcessLoopbackAddress()), m_sslRoot("SSL_ROOT", m_root.path()),
      m_applicationRoot("APP_ROOT", m_directory.path()), m_applicationName("APP_NAME", "soak"),
      m_identity("enableServiceIdentity", "true"), m_maintenance("OVEX_MAINTENANCE_IP", m_address),
      m_traceFile("OVEX_TRACE_FILE", m_directory.path() / "soak.log") {
    ClearProxyEnvironment();
    m_directory.Write("etc/authconf/jwt/service_url_config.json",
                      std::string(R"({"/sia/*": {"type": "sia", "service": ")") + SERVICE + "\"}}");
    m_directory.Write("etc/authconf/jwt/jwt_soak.json", R"({"jwt": "the credential of the soak"})");
    const Identity server = m_ca.Issue({"server", CertificateUse::Server, {"localhost"}, {m_address}});
    m_directory.Write("servers/ca.pem", m_ca.certificatePem());
    m_directory.Write("servers/server.pem", server.certificatePem);
    m_directory.Write("servers/server_key.pem", server.keyPem);
}

TlsOptions ReadTlsOptions(const std::string& directory) {
    TlsOptions options;
    options.identity = {ReadFile(directory + "/server.pem"), ReadFile(directory + "/server_key.pem")};
    options.clientCaPem = ReadFile(directory + "/ca.pem");
    return options;
}
