// SPDX-License-Identifier: Apache-2.0
#include "check/Checks.h"

#include "TlsRoot.h"

std::string Inspection::RootFile(const char* name) const {
    return root + tls_root::DIRECTORY + "/" + name;
}

const std::vector<Check>& AllChecks() {
    static const std::vector<Check> checks = {
        {"user", CheckUser},
        {"master-key", CheckMasterKey},
        {"tls-root", CheckTlsRoot},
        {"tls-directory", CheckTlsDirectory},
        {"tls-files", CheckTlsFiles},
        {"manifest", CheckManifest},
        {"password", CheckPassword},
        {"trust", CheckTrust},
        {"certificate", CheckCertificate},
        {"key", CheckKey},
        {"key-match", CheckKeyMatch},
        {"chain", CheckChain},
        {"dates", CheckDates},
        {"server-names", CheckServerNames},
        {"identity-switch", CheckSwitch},
        {"service-urls", CheckServiceUrls},
        {"jwt", CheckJwt},
        {"maintenance-address", CheckMaintenanceAddress},
    };
    return checks;
}
