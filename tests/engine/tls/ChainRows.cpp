// SPDX-License-Identifier: Apache-2.0
// RFC 5280, 6: who vouches for a certificate.
#include "tls/TlsRows.h"

namespace {

using Chain = std::vector<Certified>;

const char* const NO_ISSUER = "Tls in Handshake: unable to get local issuer certificate";

TlsRow Sent(std::string name, Chain chain, std::string outcome = "200 answer", std::string authorities = {}) {
    Manner manner;
    manner.chain = std::move(chain);
    return {std::move(name),        std::move(manner),      std::move(outcome),
            std::move(authorities), "https://service.test", {}};
}

Certified Server(const Certified& issuer) {
    return {Saying::Server("DNS:service.test"), issuer};
}

/// A chain of an intermediate authority that says this.
Chain Through(const Saying& intermediate) {
    const Certified between(intermediate, TheAuthority());
    return {Server(between), between};
}

Saying Intermediate() {
    return Saying::Authority("Intermediate", "critical,CA:TRUE");
}

/// What an intermediate authority may say that takes its chain its worth.
TlsRows Intermediates() {
    Saying noAuthority = Intermediate();
    noAuthority.constraints = "critical,CA:FALSE";
    Saying silent = Intermediate();
    silent.constraints.clear();
    Saying noSigner = Intermediate();
    noSigner.usage = "critical,digitalSignature";
    Saying expired = Intermediate();
    expired.last = "20000102000000Z";
    Saying early = Intermediate();
    early.first = "20991230000000Z";
    Saying foreignNames = Intermediate();
    foreignNames.nameConstraints = "critical,permitted;DNS:other.test";
    Saying forbiddenName = Intermediate();
    forbiddenName.nameConstraints = "critical,excluded;DNS:service.test";
    Saying itsNames = Intermediate();
    itsNames.nameConstraints = "critical,permitted;DNS:test";
    Saying clients = Intermediate();
    clients.purpose = "clientAuth";
    return {
        Sent("an intermediate", Through(Intermediate())),
        Sent("an intermediate that is no authority", Through(noAuthority),
             "Tls in Handshake: invalid CA certificate"),
        Sent("an intermediate that does not say it is one", Through(silent),
             "Tls in Handshake: invalid CA certificate"),
        Sent("an intermediate that may not sign", Through(noSigner),
             "Tls in Handshake: invalid CA certificate"),
        Sent("an intermediate that has expired", Through(expired),
             "Tls in Handshake: certificate has expired"),
        Sent("an intermediate that is not yet valid", Through(early),
             "Tls in Handshake: certificate is not yet valid"),
        Sent("an intermediate for other names", Through(foreignNames),
             "Tls in Handshake: permitted subtree violation"),
        Sent("an intermediate that excludes the name", Through(forbiddenName),
             "Tls in Handshake: excluded subtree violation"),
        Sent("an intermediate for these names", Through(itsNames)),
        Sent("an intermediate for clients", Through(clients),
             "Tls in Handshake: unsuitable certificate purpose"),
    };
}

} // namespace

TlsRows ChainRows() {
    const Certified between(Intermediate(), TheAuthority());
    const Certified below(Saying::Authority("Below"), between);
    const Certified last(Saying::Authority("Last", "critical,CA:TRUE,pathlen:0"), TheAuthority());
    const Certified beyond(Saying::Authority("Beyond"), last);
    const Certified foreign(Saying::Authority("Foreign"));
    const Certified twin(Saying::Authority("Authority")); // the name of the one that is trusted, another key
    const Certified itself(Saying::Server("DNS:service.test"));
    TlsRows rows = Intermediates();
    for (TlsRow& row : TlsRows{
             Sent("the authority itself", {Server(TheAuthority())}),
             Sent("the authority, which is sent, too", {Server(TheAuthority()), TheAuthority()}),
             Sent("an intermediate that is not sent", {Server(between)}, NO_ISSUER),
             Sent("two intermediates", {Server(below), below, between}),
             Sent("two intermediates the wrong way round", {Server(below), between, below}),
             Sent("two intermediates of which one is not sent", {Server(below), below}, NO_ISSUER),
             Sent("certificates that do not belong to it", {Server(between), foreign, itself, between}),
             Sent("a chain longer than its authority allows", {Server(beyond), beyond, last},
                  "Tls in Handshake: path length constraint exceeded"),
             Sent("a foreign authority", {Server(foreign)}, NO_ISSUER),
             Sent("a foreign authority, which is sent", {Server(foreign), foreign},
                  "Tls in Handshake: self-signed certificate in certificate chain"),
             Sent("an authority of the trusted one's name", {Server(twin), twin},
                  "Tls in Handshake: self-signed certificate in certificate chain"),
             Sent("a server that signed itself", {itself}, "Tls in Handshake: self-signed certificate"),
             Sent("a server that signed itself and is trusted", {itself}, "200 answer", itself.pem()),
             Sent("an intermediate that alone is trusted", {Server(between), between}, "200 answer",
                  between.pem()),
             Sent("several that are trusted", {Server(TheAuthority())}, "200 answer",
                  foreign.pem() + TheAuthority().pem()),
         }) {
        rows.push_back(std::move(row));
    }
    return rows;
}
