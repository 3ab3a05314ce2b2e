// SPDX-License-Identifier: Apache-2.0
#include <arpa/inet.h>

#include "Pem.h"
#include "TlsRoot.h"
#include "check/Checks.h"

namespace {

constexpr const char* REFUSED =
    "clients that verify names (httpclient::Client, the STRICT profile) refuse the process as a server";

struct FreeNames {
    void operator()(GENERAL_NAMES* names) const { GENERAL_NAMES_free(names); }
};
using Names = std::unique_ptr<GENERAL_NAMES, FreeNames>;

/// @return an address as text; "" when it is none.
std::string AddressText(const ASN1_OCTET_STRING* address) {
    char text[INET6_ADDRSTRLEN] = {};
    const int family = ASN1_STRING_length(address) == sizeof(in_addr) ? AF_INET : AF_INET6;
    const bool fits = family == AF_INET || ASN1_STRING_length(address) == sizeof(in6_addr);
    return fits && inet_ntop(family, ASN1_STRING_get0_data(address), text, sizeof text) != nullptr ? text
                                                                                                   : "";
}

/// @return what strict verification looks at; "" for names of other kinds.
std::string TextOf(const GENERAL_NAME* name) {
    int type = 0;
    const void* value = GENERAL_NAME_get0_value(name, &type);
    if (type == GEN_IPADD) {
        return AddressText(static_cast<const ASN1_OCTET_STRING*>(value));
    }
    if (type != GEN_DNS) {
        return "";
    }
    const auto* text = static_cast<const ASN1_IA5STRING*>(value);
    return {reinterpret_cast<const char*>(ASN1_STRING_get0_data(text)),
            static_cast<std::size_t>(ASN1_STRING_length(text))};
}

/// @return the host names and addresses among the subject alternative names, with ", " between them.
std::string AlternativeNames(const X509* certificate) {
    const Names names(
        static_cast<GENERAL_NAMES*>(X509_get_ext_d2i(certificate, NID_subject_alt_name, nullptr, nullptr)));
    std::string list;
    for (int i = 0; i < sk_GENERAL_NAME_num(names.get()); ++i) {
        const std::string text = TextOf(sk_GENERAL_NAME_value(names.get(), i));
        list += list.empty() || text.empty() ? text : ", " + text;
    }
    return list;
}

/// As the library compares: subject alternative names only, no wildcard within a label.
bool Carries(X509* certificate, const std::string& name) {
    if (X509_check_ip_asc(certificate, name.c_str(), 0) == 1) {
        return true;
    }
    const unsigned int flags = X509_CHECK_FLAG_NEVER_CHECK_SUBJECT | X509_CHECK_FLAG_NO_PARTIAL_WILDCARDS;
    return X509_check_host(certificate, name.data(), name.size(), flags, nullptr) == 1;
}

} // namespace

void CheckServerNames(Inspection& inspection) {
    Report& report = inspection.report;
    if (inspection.chain.empty()) {
        report.Note("not checked, for want of the certificate");
        return;
    }
    X509* certificate = inspection.chain[0].get();
    const std::string path = inspection.RootFile(tls_root::CERTIFICATE_FILE);
    const std::string names = AlternativeNames(certificate);
    if (names.empty()) {
        report.Note(path + ": carries no subject alternative name", REFUSED);
    } else {
        report.Ok(path + ": carries " + names);
    }
    for (const std::string& name : inspection.serverNames) {
        if (Carries(certificate, name)) {
            report.Ok(path + ": is taken for " + name);
        } else {
            report.Error(path + ": does not carry the name " + name, REFUSED);
        }
    }
}
