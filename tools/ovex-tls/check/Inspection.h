// SPDX-License-Identifier: Apache-2.0
/// @file
/// What is looked over, and what the checks tell each other about it.
#pragma once

#include <string>
#include <vector>

#include "Ossl.h"
#include "Secret.h"
#include "check/Report.h"

/// One run of the checks. They run in the order of their table; each fills in what later ones build upon.
struct Inspection {
    int warnDays = 0;                     ///< Warn of certificates that expire within so many days.
    std::vector<std::string> serverNames; ///< Names that clients ask for when the process is their server.
    Report report;

    std::string root;       ///< The TLS root as a process writes it: "" or ending in "/".
    std::string cipherText; ///< The encrypted key password; "" when there is none.
    bool passwordKnown = false;
    Secret password;
    std::vector<ossl::Certificate> trusted; ///< Empty when unreadable.
    std::vector<ossl::Certificate> chain;   ///< The process's certificate first; empty when unreadable.
    ossl::Key key;                          ///< Null when unreadable.
    bool identityOn = false;                ///< Service identity is switched on.

    /// A file of the TLS root, as a process composes its path.
    std::string RootFile(const char* name) const;
};
