// SPDX-License-Identifier: Apache-2.0
/// @file
/// Certificates for tests: a CA that lives as long as one run of the tool, and what it issues.
#pragma once

#include <string>
#include <vector>

#include "Ossl.h"

namespace test_certificates {

struct Identity {
    ossl::Key key;
    ossl::Certificate certificate;
};

/// A self-signed CA with a new EC P-256 key. @throw Failure
Identity MakeCa(const std::string& commonName, int days);

/// A certificate for TLS clients and servers with a new EC P-256 key. @throw Failure
/// @param hosts host names and IP addresses that it is good for; may be empty.
Identity Issue(const Identity& ca, const std::string& commonName, const std::vector<std::string>& hosts,
               int days);

} // namespace test_certificates
