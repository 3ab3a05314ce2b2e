// SPDX-License-Identifier: Apache-2.0
// TLS material as texts: authorities, certificate, key, password. What cannot be used is refused, in words that hold
// nothing of a secret.
#include <array>
#include <stdexcept>

#include <openssl/err.h>
#include <openssl/evp.h>

#include <httpclient/testing/Certificates.h>
#include <httpclient/testing/Environment.h>

#include "../Input.h"
#include "../Require.h"
#include "../Target.h"
#include "net/TlsContext.h"
#include "net/TlsMaterial.h"

using namespace httpclient::net;

namespace {

constexpr std::size_t TELLING =
    20; ///< so many bytes of a secret, none of them a blank, are no words of a message

/// The authorities of the system, of which there is one: reading those that a machine has would take nearly all the time.
class System {
public:
    static const System& Instance() {
        static const System system;
        return system;
    }

private:
    System() { m_directory.Write("authorities.pem", m_ca.certificatePem()); }

    const httpclient::testing::CertificateAuthority m_ca;
    const httpclient::testing::TemporaryDirectory m_directory;
    const httpclient::testing::ScopedEnvironment m_file{"SSL_CERT_FILE",
                                                        m_directory.path() / "authorities.pem"};
    const httpclient::testing::ScopedEnvironment m_directories{"SSL_CERT_DIR", m_directory.path()};
};

/// Bytes become a PEM block, so that an input need not be base64 to get further.
std::string Wrapped(const std::string& der, const std::string& label) {
    std::string text(der.size() / 3 * 4 + 5, '\0');
    const int size =
        EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()),
                        reinterpret_cast<const unsigned char*>(der.data()), static_cast<int>(der.size()));
    text.resize(static_cast<std::size_t>(size));
    std::string pem = "-----BEGIN " + label + "-----\n";
    constexpr std::size_t LINE = 64;
    for (std::size_t at = 0; at < text.size(); at += LINE) {
        pem += text.substr(at, LINE) + "\n";
    }
    return pem + "-----END " + label + "-----\n";
}

void RequireNothingOf(const std::string& secret, const std::string& message) {
    for (std::size_t at = 0; at + TELLING <= secret.size(); ++at) {
        const std::string part = secret.substr(at, TELLING);
        Require(part.find(' ') != std::string::npos || message.find(part) == std::string::npos,
                "a message holds no secret");
    }
}

} // namespace

void FuzzTlsTexts(std::string_view input) {
    constexpr const char* KEY_LABELS[] = {"PRIVATE KEY", "EC PRIVATE KEY", "RSA PRIVATE KEY"};
    enum Choice : unsigned { WrapAuthorities = 1, WrapCertificate = 2, WrapKey = 4, WithoutPassword = 8 };
    System::Instance();
    Input fields(input);
    const unsigned choices = fields.Byte();
    const std::string password = fields.Field();
    TlsSettings settings;
    settings.from = TlsSettings::From::Memory;
    settings.name = "localhost";
    settings.authorities = fields.Block();
    settings.certificate = fields.Block();
    settings.key = fields.Block();
    if ((choices & WrapAuthorities) != 0) {
        settings.authorities = Wrapped(settings.authorities, "CERTIFICATE");
    }
    if ((choices & WrapCertificate) != 0) {
        settings.certificate = Wrapped(settings.certificate, "CERTIFICATE");
    }
    if ((choices & WrapKey) != 0) {
        settings.key = Wrapped(settings.key, KEY_LABELS[(choices >> 4U) % 3]);
    }
    if ((choices & WithoutPassword) == 0) {
        settings.keyPassword = [password] { return password; };
    }
    const std::string key = settings.key;

    ERR_clear_error();
    ERR_raise(ERR_LIB_USER, 42);
    std::string refused;
    TlsMaterial material(settings);
    try {
        material.CheckTexts();
    } catch (const std::invalid_argument& error) {
        refused = error.what();
        Require(!refused.empty(), "a refusal has its words");
        RequireNothingOf(key, refused);
        RequireNothingOf(password, refused);
    }
    std::error_code error;
    std::string message;
    const auto context = material.Current(Clock::now(), error, message);
    Require((context != nullptr) == refused.empty(), "what was not refused can be used, and nothing else");
    Require(context != nullptr || error, "why there is none is told");
    RequireNothingOf(key, message);
    Require(ERR_GET_REASON(ERR_get_error()) == 42 && ERR_get_error() == 0,
            "the thread's errors are as they were");
}
