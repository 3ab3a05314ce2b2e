// SPDX-License-Identifier: Apache-2.0
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <system_error>

#include <sys/stat.h>
#include <unistd.h>

#include <json/value.h>

#include "Failure.h"
#include "Files.h"
#include "Manifest.h"
#include "TlsRoot.h"
#include "check/Checks.h"

namespace {

constexpr mode_t OTHERS_WRITE = S_IWGRP | S_IWOTH;
constexpr mode_t MODE_BITS = 07777;
constexpr const char* NO_CERTIFICATE =
    "each TLS connection is made all the same and fails at its first transfer";

struct TlsFile {
    const char* name;
    Privacy privacy;
};

constexpr TlsFile TLS_FILES[] = {
    {tls_root::CA_FILE, Privacy::Open},
    {tls_root::CERTIFICATE_FILE, Privacy::Open},
    {tls_root::KEY_FILE, Privacy::Secret},
    {tls_root::MANIFEST_FILE, Privacy::Encrypted},
};

std::string Octal(mode_t mode) {
    char text[16];
    static_cast<void>(std::snprintf(text, sizeof text, "%04o", static_cast<unsigned int>(mode & MODE_BITS)));
    return text;
}

bool IsOurs(const struct stat& status) {
    return status.st_uid == geteuid() || status.st_uid == 0;
}

/// Mode and owner of something that nobody else may change.
/// @return whether there is nothing to complain about.
bool CheckOwnership(Report& report, const std::string& path, const struct stat& status) {
    if (!IsOurs(status)) {
        report.Error(path + ": belongs to neither this user nor root (uid " + std::to_string(status.st_uid) +
                         ")",
                     "its owner can put anything in its place");
        return false;
    }
    // In a sticky directory others may add files, but not touch ours.
    const bool sticky = S_ISDIR(status.st_mode) && (status.st_mode & S_ISVTX) != 0;
    if ((status.st_mode & OTHERS_WRITE) != 0 && !sticky) {
        report.Error(path + ": the group or others may change it (mode " + Octal(status.st_mode) + ")",
                     "whoever can change it decides whom the process trusts and who it is");
        return false;
    }
    return true;
}

void CheckDirectory(Report& report, const std::string& path, const std::string& whenMissing) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) {
        report.Error(path + ": " + std::generic_category().message(errno), whenMissing);
    } else if (!S_ISDIR(status.st_mode)) {
        report.Error(path + ": not a directory", whenMissing);
    } else if (access(path.c_str(), X_OK) != 0) {
        report.Error(path + ": this user may not enter it", whenMissing);
    } else if (CheckOwnership(report, path, status)) {
        report.Ok(path + " (mode " + Octal(status.st_mode) + ")");
    }
}

/// The environment variable, with the "/" that a process adds.
std::string RootAsProcessSeesIt() {
    const char* value = std::getenv("SSL_ROOT");
    std::string root = value == nullptr ? "" : value;
    if (!root.empty() && root.back() != '/') {
        root += '/';
    }
    return root;
}

} // namespace

bool CheckFile(Report& report, const std::string& path, Privacy privacy, const std::string& whenUnreadable) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) {
        report.Error(path + ": " + std::generic_category().message(errno), whenUnreadable);
        return false;
    }
    if (!S_ISREG(status.st_mode)) {
        report.Error(path + ": not a regular file", whenUnreadable);
        return false;
    }
    if (access(path.c_str(), R_OK) != 0) {
        report.Error(path + ": this user may not read it", whenUnreadable);
        return false;
    }
    const bool everybodyReads = (status.st_mode & S_IROTH) != 0;
    const std::string message =
        path + ": every user of the host may read it (mode " + Octal(status.st_mode) + ")";
    const bool owned = CheckOwnership(report, path, status);
    if (everybodyReads && privacy == Privacy::Secret) {
        report.Error(message, "its content is a secret of the process");
    } else if (everybodyReads && privacy == Privacy::Encrypted) {
        report.Warning(message, "whoever gets at the master key as well has the password");
    } else if (owned) {
        report.Ok(path + " (mode " + Octal(status.st_mode) + ")");
    }
    return true;
}

void CheckTlsRoot(Inspection& inspection) {
    inspection.root = RootAsProcessSeesIt();
    if (inspection.root.empty()) {
        inspection.report.Error(
            "SSL_ROOT is unset or empty",
            "the manifest is looked for at /internal/manifest.json and the other files in "
            "\"internal\" below the working directory");
        return;
    }
    if (inspection.root.front() != '/') {
        inspection.report.Warning(inspection.root + ": not an absolute path",
                                  "it is looked for below each process's working directory");
    }
    CheckDirectory(inspection.report, inspection.root, NO_CERTIFICATE);
}

void CheckTlsDirectory(Inspection& inspection) {
    CheckDirectory(inspection.report, inspection.root + tls_root::DIRECTORY, NO_CERTIFICATE);
}

void CheckTlsFiles(Inspection& inspection) {
    for (const TlsFile& file : TLS_FILES) {
        CheckFile(inspection.report, inspection.RootFile(file.name), file.privacy, NO_CERTIFICATE);
    }
}

void CheckManifest(Inspection& inspection) {
    constexpr const char* NO_TEXT =
        "each TLS connection logs \"the enc text is null!\" and has an empty key password";
    Report& report = inspection.report;
    // With its doubled slash, as a process writes it: with no root it is the file system's own /internal.
    const std::string path = inspection.root + "/" + tls_root::DIRECTORY + "/" + tls_root::MANIFEST_FILE;
    try {
        if (!manifest::FindPassword(ReadFile(path), inspection.cipherText)) {
            report.Error(path + ": not valid JSON",
                         "each TLS connection logs \"parse ... error!\" and has an empty key password");
        } else if (inspection.cipherText.empty()) {
            report.Error(path + ": no text at filelist, server_key.pem, keyPass", NO_TEXT);
        } else {
            report.Ok(path + ": holds an encrypted password");
        }
    } catch (const Failure&) {
        report.Error(path + ": cannot be read", NO_TEXT);
    } catch (const Json::Exception&) {
        report.Error(
            path + ": of the wrong shape; filelist, server_key.pem, keyPass is to be a text",
            "each TLS connection logs \"parse file catch an exception!\" and has an empty key password");
    }
}
