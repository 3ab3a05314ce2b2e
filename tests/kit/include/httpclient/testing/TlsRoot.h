// SPDX-License-Identifier: Apache-2.0
/// @file
/// The directory of TLS files that the library reads.
#pragma once

#include <filesystem>
#include <string>

#include <httpclient/testing/Certificates.h>
#include <httpclient/testing/Environment.h>

namespace httpclient::testing {

/// @return a manifest that holds this text as the encrypted key password.
std::string Manifest(const std::string& keyPass);

/// A temporary directory laid out as a TLS root: what the environment variable "SSL_ROOT" is to name.
///
/// Changes nothing of the environment; see ScopedEnvironment.
///
/// @par Thread Safety
/// Const operations are safe from any number of threads.
class TlsRoot {
public:
    /// Lays out "internal/trust.cer", "internal/server.cer",
    /// "internal/server_key.pem" and "internal/manifest.json".
    /// @param caPem the CA that the client is to trust.
    /// @param client the identity that it is to present.
    /// @param password what the key file is encrypted with; "" leaves it unencrypted.
    /// @param keyPass the text of the manifest: the password, encrypted by the platform's cipher.
    TlsRoot(const std::string& caPem, const Identity& client, const std::string& password,
            const std::string& keyPass);

    /// @return the directory, without a slash at its end.
    std::string path() const;
    /// @return one of the files, by its name below "internal".
    std::filesystem::path File(const std::string& name) const;
    /// Replaces one of the files, by its name below "internal".
    void Replace(const std::string& name, const std::string& content) const;
    /// Removes one of the files, by its name below "internal".
    void Remove(const std::string& name) const;

private:
    TemporaryDirectory m_directory;
};

} // namespace httpclient::testing
