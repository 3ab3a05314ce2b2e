// SPDX-License-Identifier: Apache-2.0
#include "setting/TlsSetting.h"

#include <limits>
#include <stdexcept>

#include <ace/Time_Value.h>

#include <vorncipher/VornCipherEncrypt.h>
#include <vorncipher/VornMasterKey.h>

#include <httpclient/HttpConnectionMgr.h>

#include "setting/Secrets.h"

using namespace httpclient::testing;

namespace {

std::string MakeMasterKey(const std::string& path) {
    if (VornMasterKey::Make(path) != VORN_OK) {
        throw std::runtime_error("no master key");
    }
    return path;
}

} // namespace

void ClosePool() {
    CHttpConnectionMgr* pool = CHttpConnectionMgr::Instance();
    pool->SetRlsTime(std::numeric_limits<std::int64_t>::min());
    pool->handle_timeout(ACE_Time_Value::zero,
                         nullptr); // takes TLS connections, too, which Finalize() leaves
    pool->SetRlsTime(30);          // or the shared engine would keep no connection in later tests
    CHttpConnectionMgr::Finalize();
}

TlsSetting::TlsSetting()
    : m_keyFile("VORN_KEY_FILE", MakeMasterKey(m_keys.path() / "master.key")),
      m_client(m_ca.IssueClient("client")),
      m_root(m_ca.certificatePem(), m_client, Password(), Encrypted(Password())),
      m_sslRoot("SSL_ROOT", m_root.path()) {}

TlsSetting::~TlsSetting() {
    ClosePool();
}

std::string TlsSetting::Password() {
    return Secret("password");
}

std::string TlsSetting::Encrypted(const std::string& plainText, int key, unsigned int value) {
    std::string cipherText;
    if (VornCipherEncrypt::Encrypt(plainText, cipherText, static_cast<VornCipherKey>(key), value) !=
        VORN_OK) {
        throw std::runtime_error("not encrypted");
    }
    return cipherText;
}

TlsOptions TlsSetting::Server() const {
    TlsOptions options;
    options.identity = m_ca.IssueServer();
    options.clientCaPem = m_ca.certificatePem();
    return options;
}

void TlsSetting::ExpireClient() const {
    CertificateProfile profile;
    profile.commonName = "late client";
    profile.use = CertificateUse::Client;
    profile.validity = Validity::Expired;
    const Identity late = m_ca.Issue(profile);
    m_root.Replace("server.cer", late.certificatePem);
    m_root.Replace("server_key.pem", EncryptKey(late.keyPem, Password()));
}
