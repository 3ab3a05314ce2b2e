// SPDX-License-Identifier: Apache-2.0
// The platform's TLS files as the engine reads them: a manifest of any bytes beside files that are sound.
#include <httpclient/testing/Certificates.h>
#include <httpclient/testing/Environment.h>
#include <httpclient/testing/TlsRoot.h>

#include "../Require.h"
#include "../Surroundings.h"
#include "../Target.h"
#include "net/TlsContext.h"
#include "net/TlsMaterial.h"

using namespace httpclient::net;
using httpclient::testing::CertificateAuthority;
using httpclient::testing::ScopedEnvironment;
using httpclient::testing::TlsRoot;

namespace {

/// The files, written once; each input replaces the manifest. The key is encrypted, so that its password is asked for.
class Files {
public:
    static const Files& Instance() {
        static const Files files;
        return files;
    }
    void WriteManifest(std::string_view text) const { m_root.Replace("manifest.json", std::string(text)); }

private:
    CertificateAuthority m_ca;
    TlsRoot m_root{m_ca.certificatePem(), m_ca.IssueClient(), "the password of the key", ""};
    ScopedEnvironment m_environment{"SSL_ROOT", m_root.path()};
};

} // namespace

void FuzzPlatformMaterial(std::string_view input) {
    Surroundings::Instance();
    Files::Instance().WriteManifest(input);
    TlsSettings settings;
    settings.name = "localhost";
    TlsMaterial material(settings);
    std::error_code error;
    std::string message;
    StartLog();
    const auto context = material.Current(Clock::now(), error, message);
    Require((context != nullptr) == !error, "there is material, or a reason why there is none");
    Require(context == nullptr, "nobody guesses the password");
    constexpr std::size_t LONGEST = 300;
    Require(!message.empty() && message.size() < LONGEST, "the reason is told in a line");
    for (const std::string& line : Logged()) {
        constexpr std::size_t TELLING = 20; // none of them a blank: no words of a message
        for (std::size_t at = 0; at + TELLING <= input.size(); ++at) {
            const std::string_view part = input.substr(at, TELLING);
            Require(part.find(' ') != std::string_view::npos || line.find(part) == std::string::npos,
                    "the log holds nothing of the manifest");
        }
    }
}
