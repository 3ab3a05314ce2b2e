// SPDX-License-Identifier: Apache-2.0
#include <ctime>
#include <optional>

#include <vorncipher/VornStatus.h>

#include "Failure.h"
#include "Files.h"
#include "Password.h"
#include "Pem.h"
#include "TlsRoot.h"
#include "check/Checks.h"

namespace {

constexpr const char* NO_HANDSHAKE = "each TLS connection fails at its first transfer";

/// A file's text, or nothing when it cannot be read; that is a finding of tls-files then.
std::optional<std::string> TextOf(Report& report, const std::string& path) {
    try {
        return ReadFile(path);
    } catch (const Failure&) {
        report.Error(path + ": cannot be read", NO_HANDSHAKE);
        return std::nullopt;
    }
}

std::vector<ossl::Certificate> ReadCertificates(Report& report, const std::string& path) {
    std::vector<ossl::Certificate> certificates;
    if (const auto text = TextOf(report, path)) {
        certificates = pem::ReadCertificates(*text);
        if (certificates.empty()) {
            report.Error(path + ": holds no readable PEM certificate", NO_HANDSHAKE);
        }
    }
    return certificates;
}

std::string SubjectOf(const X509* certificate) {
    const ossl::Bio bio(BIO_new(BIO_s_mem()));
    X509_NAME_print_ex(bio.get(), X509_get_subject_name(certificate), 0, XN_FLAG_RFC2253);
    char* data = nullptr;
    const long size = BIO_get_mem_data(bio.get(), &data);
    return std::string(data, static_cast<std::size_t>(size));
}

std::string DateOf(const ASN1_TIME* time) {
    std::tm parts{};
    char text[32];
    if (ASN1_TIME_to_tm(time, &parts) != 1 ||
        std::strftime(text, sizeof text, "%Y-%m-%d %H:%M UTC", &parts) == 0) {
        return "an unreadable date";
    }
    return text;
}

bool IsPast(const ASN1_TIME* time) {
    return X509_cmp_current_time(time) <= 0;
}

bool IsPastIn(const ASN1_TIME* time, int days) {
    constexpr std::time_t DAY = 24L * 60 * 60;
    std::time_t then = std::time(nullptr) + days * DAY;
    return X509_cmp_time(time, &then) <= 0;
}

void CheckDatesOf(Inspection& inspection, const std::string& file, const X509* certificate) {
    const ASN1_TIME* from = X509_get0_notBefore(certificate);
    const ASN1_TIME* until = X509_get0_notAfter(certificate);
    const std::string subject = file + ": " + SubjectOf(certificate);
    if (IsPast(until)) {
        inspection.report.Error(subject + ": expired on " + DateOf(until), NO_HANDSHAKE);
    } else if (!IsPast(from)) {
        inspection.report.Error(subject + ": not valid before " + DateOf(from), NO_HANDSHAKE);
    } else if (IsPastIn(until, inspection.warnDays)) {
        inspection.report.Warning(subject + ": expires soon, on " + DateOf(until),
                                  "TLS connections fail from then on");
    } else {
        inspection.report.Ok(subject + ": valid until " + DateOf(until));
    }
}

} // namespace

void CheckPassword(Inspection& inspection) {
    constexpr const char* NO_PASSWORD =
        "each TLS connection logs \"the plain text is null or dec error, ret=...\" "
        "and has an empty key password";
    Report& report = inspection.report;
    if (inspection.cipherText.empty()) {
        report.Error("there is no encrypted password to decrypt", NO_PASSWORD);
        return;
    }
    std::string plain;
    const int status =
        VornCipher::Decrypt(inspection.cipherText, plain, tls_root::PASSWORD_KEY, tls_root::PASSWORD_VALUE);
    inspection.password = Secret(std::move(plain));
    inspection.passwordKnown = status == VORN_OK;
    const char* fault = status == VORN_OK ? PasswordFault(inspection.password.Text()) : nullptr;
    if (status != VORN_OK) {
        report.Error("status " + std::to_string(status) + ": " + VornStatusText(status), NO_PASSWORD);
    } else if (fault != nullptr) {
        report.Error(fault, "the key is not opened");
    } else {
        report.Ok("decrypts");
    }
}

void CheckTrust(Inspection& inspection) {
    const std::string path = inspection.RootFile(tls_root::CA_FILE);
    inspection.trusted = ReadCertificates(inspection.report, path);
    std::size_t authorities = 0;
    for (const ossl::Certificate& certificate : inspection.trusted) {
        if (X509_check_ca(certificate.get()) != 0) {
            ++authorities;
        } else {
            inspection.report.Warning(path + ": " + SubjectOf(certificate.get()) + ": not a CA's certificate",
                                      "it vouches for nobody but itself");
        }
    }
    if (authorities > 0) {
        inspection.report.Ok(path + ": trusts " +
                             Counted(authorities, "certificate authority", "certificate authorities"));
    } else if (!inspection.trusted.empty()) {
        inspection.report.Error(path + ": trusts no certificate authority", NO_HANDSHAKE);
    }
}

void CheckCertificate(Inspection& inspection) {
    const std::string path = inspection.RootFile(tls_root::CERTIFICATE_FILE);
    inspection.chain = ReadCertificates(inspection.report, path);
    if (!inspection.chain.empty()) {
        inspection.report.Ok(path + ": " + SubjectOf(inspection.chain[0].get()) + ", sent with " +
                             Counted(inspection.chain.size() - 1, "other", "others"));
    }
}

void CheckKey(Inspection& inspection) {
    Report& report = inspection.report;
    const std::string path = inspection.RootFile(tls_root::KEY_FILE);
    auto text = TextOf(report, path);
    if (!text) {
        return;
    }
    const bool encrypted = pem::IsKeyEncrypted(*text);
    inspection.key = pem::ReadKey(*text, inspection.password);
    Secret::Wipe(*text);
    if (inspection.key && encrypted) {
        report.Ok(path + ": opened by the password");
    } else if (inspection.key) {
        report.Warning(path + ": not encrypted",
                       "the password is not needed, and a copy of the file is the key");
    } else if (encrypted && !inspection.passwordKnown) {
        report.Error(path + ": not opened, for want of the password", NO_HANDSHAKE);
    } else if (encrypted) {
        report.Error(path + ": not opened by the password of the manifest", NO_HANDSHAKE);
    } else {
        report.Error(path + ": holds no readable PEM private key", NO_HANDSHAKE);
    }
}

void CheckKeyMatch(Inspection& inspection) {
    if (!inspection.key || inspection.chain.empty()) {
        inspection.report.Note("not checked, for want of the key or the certificate");
    } else if (X509_check_private_key(inspection.chain[0].get(), inspection.key.get()) != 1) {
        inspection.report.Error("the key is not the key of the certificate", NO_HANDSHAKE);
    } else {
        inspection.report.Ok("the key is the key of the certificate");
    }
}

void CheckChain(Inspection& inspection) {
    if (inspection.trusted.empty() || inspection.chain.empty()) {
        inspection.report.Note("not checked, for want of certificates");
        return;
    }
    std::string why;
    if (pem::ChainsTo(inspection.trusted, inspection.chain, why)) {
        inspection.report.Ok("the certificate chains to a trusted authority");
    } else {
        inspection.report.Error("the certificate does not chain to a trusted authority: " + why,
                                "servers that trust the same authorities refuse the process");
    }
}

void CheckDates(Inspection& inspection) {
    for (const ossl::Certificate& certificate : inspection.trusted) {
        CheckDatesOf(inspection, tls_root::CA_FILE, certificate.get());
    }
    for (const ossl::Certificate& certificate : inspection.chain) {
        CheckDatesOf(inspection, tls_root::CERTIFICATE_FILE, certificate.get());
    }
}
