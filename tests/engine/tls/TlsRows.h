// SPDX-License-Identifier: Apache-2.0
/// @file
/// Tables of TLS servers and materials, each with what is to become of a call.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include <httpclient/Client.h>

#include "tls/TlsServer.h"

/// A server, a client, and the outcome.
struct TlsRow {
    std::string name;
    Manner manner;
    std::string outcome = "200 answer"; ///< status and body; or kind, phase and reason
    std::string authorities;            ///< what the client trusts; empty: TheAuthority()
    std::string origin = "https://service.test";
    std::function<void(httpclient::TlsOptions&)> options; ///< changes them
};

using TlsRows = std::vector<TlsRow>;

/// The authority of most rows.
const Certified& TheAuthority();
/// @return a server whose certificate, of the authority, says this.
Manner Showing(const Saying& saying);
/// @return a server in good order for service.test.
Manner Sound();

TlsRows NameRows();    ///< who the certificate is for
TlsRows ChainRows();   ///< who vouches for it
TlsRows KeyRows();     ///< what it is made of, when and for what it is good
TlsRows VersionRows(); ///< how the connection is made
TlsRows EndRows();     ///< how the connection goes on and ends
