// SPDX-License-Identifier: Apache-2.0
/// @file
/// Certificate authorities, certificates and keys that tests make for themselves.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include <httpclient/testing/Files.h>

namespace httpclient::testing {

/// Whether a certificate's time has come. No clock is read: the dates lie decades away from any test's clock.
enum class Validity {
    Current,    ///< 2000 to 2099.
    Expired,    ///< The first day of 2000.
    NotYetValid ///< The last day of 2099.
};

/// What a certificate is for.
enum class CertificateUse { Server, Client };

/// What a certificate shall say.
struct CertificateProfile {
    std::string commonName;                      ///< The subject's common name.
    CertificateUse use = CertificateUse::Server; ///< What it is for.
    std::vector<std::string> names = {};         ///< Alternative DNS names.
    std::vector<std::string> addresses = {};     ///< Alternative IP addresses, as text.
    Validity validity = Validity::Current;       ///< Whether its time has come.
};

/// A certificate and its private key, both PEM. A plain value.
struct Identity {
    std::string certificatePem; ///< The certificate.
    std::string keyPem;         ///< The private key (EC P-256), not encrypted.
};

/// A certificate authority that lives in memory.
///
/// @par Thread Safety
/// Const operations are safe from any number of threads.
class CertificateAuthority {
public:
    /// Makes the authority's key and its self-signed certificate.
    /// @throw std::runtime_error when OpenSSL fails.
    explicit CertificateAuthority(const std::string& commonName = "Test CA");
    ~CertificateAuthority();
    CertificateAuthority(const CertificateAuthority&) = delete;
    CertificateAuthority& operator=(const CertificateAuthority&) = delete;

    /// @return the authority's own certificate.
    const std::string& certificatePem() const;
    /// Makes a key and a certificate for it.
    /// @throw std::runtime_error when OpenSSL fails.
    Identity Issue(const CertificateProfile& profile) const;

    /// @return a server's identity for "localhost", "127.0.0.1" and "::1".
    Identity IssueServer() const;
    /// @return a client's identity of this common name.
    Identity IssueClient(const std::string& commonName = "client") const;

private:
    struct Pair;
    std::unique_ptr<Pair> m_pair;
    std::string m_pem;
};

/// @return the key as encrypted PEM (PKCS #8, AES-256-CBC).
/// @param keyPem a key that is not encrypted.
/// @param password what it shall be encrypted with; not empty.
/// @throw std::runtime_error when OpenSSL fails.
std::string EncryptKey(const std::string& keyPem, const std::string& password);

} // namespace httpclient::testing
