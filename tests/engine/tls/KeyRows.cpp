// SPDX-License-Identifier: Apache-2.0
// What a certificate is made of, when it is good, and for what.
#include "tls/TlsRows.h"

namespace {

TlsRow Key(std::string name, KeyKind kind, std::string outcome = "200 answer") {
    Saying saying = Saying::Server("DNS:service.test");
    saying.key = kind;
    Manner manner = Showing(saying);
    manner.weak = kind == KeyKind::Rsa1024;
    return {std::move(name), std::move(manner), std::move(outcome), {}, "https://service.test", {}};
}

template <class Change>
TlsRow Changed(std::string name, const Change& change, std::string outcome = "200 answer") {
    Saying saying = Saying::Server("DNS:service.test");
    change(saying);
    Manner manner = Showing(saying);
    manner.weak = true; // the server does not mind
    return {std::move(name), std::move(manner), std::move(outcome), {}, "https://service.test", {}};
}

} // namespace

TlsRows KeyRows() {
    return {
        Key("P-256", KeyKind::P256),
        Key("P-384", KeyKind::P384),
        Key("P-521", KeyKind::P521),
        Key("RSA of 2048 bits", KeyKind::Rsa2048),
        Key("RSA of 4096 bits", KeyKind::Rsa4096),
        Key("RSA of 1024 bits", KeyKind::Rsa1024, "Tls in Handshake: EE certificate key too weak"),
        Key("Ed25519", KeyKind::Ed25519),
        Key("Ed448", KeyKind::Ed448),
        Changed("a signature by SHA-384", [](Saying& saying) { saying.digest = "SHA384"; }),
        Changed(
            "a signature by SHA-1", [](Saying& saying) { saying.digest = "SHA1"; },
            "Tls in Handshake: CA signature digest algorithm too weak"),
        Changed(
            "expired", [](Saying& saying) { saying.last = "20000102000000Z"; },
            "Tls in Handshake: certificate has expired"),
        Changed(
            "not yet valid", [](Saying& saying) { saying.first = "20991230000000Z"; },
            "Tls in Handshake: certificate is not yet valid"),
        Changed(
            "for clients", [](Saying& saying) { saying.purpose = "clientAuth"; },
            "Tls in Handshake: unsuitable certificate purpose"),
        Changed(
            "for the signing of code", [](Saying& saying) { saying.purpose = "codeSigning"; },
            "Tls in Handshake: unsuitable certificate purpose"),
        Changed("for clients and servers", [](Saying& saying) { saying.purpose = "clientAuth,serverAuth"; }),
        Changed("for anything", [](Saying& saying) { saying.purpose.clear(); }),
        Changed(
            "a key that may sign certificates alone",
            [](Saying& saying) { saying.usage = "critical,keyCertSign"; },
            "Tls in Handshake: unsuitable certificate purpose"),
    };
}
