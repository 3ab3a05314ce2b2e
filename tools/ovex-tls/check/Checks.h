// SPDX-License-Identifier: Apache-2.0
/// @file
/// The checks, one function each.
#pragma once

#include <string>
#include <vector>

#include "check/Inspection.h"

struct Check {
    const char* name; ///< Stands in reports; scripts rely on it.
    void (*run)(Inspection& inspection);
};

/// All checks in the order in which they run.
const std::vector<Check>& AllChecks();

// PlatformChecks.cpp
void CheckUser(Inspection& inspection);
void CheckMasterKey(Inspection& inspection);
void CheckMaintenanceAddress(Inspection& inspection);

// FileChecks.cpp
void CheckTlsRoot(Inspection& inspection);
void CheckTlsDirectory(Inspection& inspection);
void CheckTlsFiles(Inspection& inspection);
void CheckManifest(Inspection& inspection);
/// Who may read a file beside its owner.
enum class Privacy {
    Open,      ///< Everybody.
    Encrypted, ///< A group; everybody is a warning, as the secret in it is encrypted.
    Secret     ///< A group at most.
};
/// Looks over the mode and owner of a file that a process reads.
/// @return whether it is there, regular and readable.
bool CheckFile(Report& report, const std::string& path, Privacy privacy, const std::string& whenUnreadable);

// CertificateChecks.cpp
void CheckPassword(Inspection& inspection);
void CheckTrust(Inspection& inspection);
void CheckCertificate(Inspection& inspection);
void CheckKey(Inspection& inspection);
void CheckKeyMatch(Inspection& inspection);
void CheckChain(Inspection& inspection);
void CheckDates(Inspection& inspection);

// NameChecks.cpp
void CheckServerNames(Inspection& inspection);

// IdentityChecks.cpp
void CheckSwitch(Inspection& inspection);
void CheckServiceUrls(Inspection& inspection);
void CheckJwt(Inspection& inspection);
