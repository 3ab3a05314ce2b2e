// SPDX-License-Identifier: Apache-2.0
/// @file
/// Certificates and keys as PEM text.
#pragma once

#include <string>
#include <vector>

#include "Ossl.h"
#include "Secret.h"

namespace pem {

/// All certificates of a text, in their order; none when the text holds none or a broken one.
std::vector<ossl::Certificate> ReadCertificates(const std::string& text);

/// Whether a text holds a private key that wants a password.
bool IsKeyEncrypted(const std::string& text);

/// The private key of a text; null when there is none that the password opens. Never asks anybody.
ossl::Key ReadKey(const std::string& text, const Secret& password);

std::string Write(const X509* certificate);
/// An unencrypted key for an empty password. @throw Failure
std::string Write(const EVP_PKEY* key, const Secret& password);

/// Whether a certificate chains to one of the trusted ones, its dates aside.
/// @param others certificates that may stand between the two; the first is left out, as it is the leaf.
/// @param[out] why the reason when it does not.
bool ChainsTo(const std::vector<ossl::Certificate>& trusted, const std::vector<ossl::Certificate>& chain,
              std::string& why);

} // namespace pem
