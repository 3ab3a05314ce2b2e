// SPDX-License-Identifier: Apache-2.0
/// @file
/// The connection of HTTPS addresses.
#pragma once

#include <string>

#include "pool/HttpConnection.h"

/// Names the environment variable that holds the root directory of the TLS files; "SSL_ROOT" unless a host
/// points it elsewhere before the first TLS connection is made.
extern HTTPCLIENT_EXPORT const char* SSL_ROOT;

/// A connection whose easy handle is set up for mutual TLS once, when it is made.
///
/// Making one never fails for want of a file or a password: what is missing is logged, and the transfer
/// itself reports the TLS error. The server's certificate is verified, its name deliberately is not.
///
/// @par Performance
/// Each construction reads the manifest and decrypts the key password, under the pool's lock.
class HTTPCLIENT_EXPORT CHttpsConnection : public CHttpConnection {
public:
    CHttpsConnection(std::string address, int port);
    ~CHttpsConnection() override;

    /// @return the root directory of the TLS files, ending in "/"; "" when the environment names none.
    std::string GetSslPath() const;
    /// Reads the encrypted key password from the manifest.
    /// @param[out] cipherText the password; unchanged on failure.
    void GetCipherText(std::string& cipherText) const;
};
