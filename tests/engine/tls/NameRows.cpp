// SPDX-License-Identifier: Apache-2.0
// RFC 9110, 4.3.4, and RFC 6125: who a certificate is for.
#include "tls/TlsRows.h"

using namespace std::string_literals;

namespace {

const char* const OTHER_NAME = "Tls in Handshake: hostname mismatch";
const char* const OTHER_ADDRESS = "Tls in Handshake: IP address mismatch";

TlsRow For(std::string name, const std::string& names, std::string outcome = "200 answer",
           std::string origin = "https://service.test") {
    TlsRow row{std::move(name), Showing(Saying::Server(names)), std::move(outcome), {}, {}, {}};
    row.origin = std::move(origin);
    return row;
}

TlsRow Raw(std::string name, const std::string& bytes, std::string outcome) {
    Saying saying;
    saying.nulName = bytes;
    return {std::move(name), Showing(saying), std::move(outcome), {}, "https://service.test", {}};
}

TlsRow CommonName(std::string name, const std::string& names) {
    Saying saying = Saying::Server(names);
    saying.subject = "service.test";
    return {std::move(name), Showing(saying), OTHER_NAME, {}, "https://service.test", {}};
}

TlsRow With(TlsRow row, std::function<void(httpclient::TlsOptions&)> options) {
    row.options = std::move(options);
    return row;
}

} // namespace

TlsRows NameRows() {
    const auto expecting = [](const char* name) {
        return [name](httpclient::TlsOptions& tls) { tls.serverName(name); };
    };
    const auto anyName = [](httpclient::TlsOptions& tls) { tls.verifyHost(false); };
    return {
        For("the name", "DNS:service.test"),
        For("the name in other letters", "DNS:SerVice.TEST"),
        For("the name among others", "DNS:a.test,DNS:b.test,IP:127.0.0.1,DNS:service.test"),
        For("another name", "DNS:other.test", OTHER_NAME),
        For("a name below it", "DNS:a.service.test", OTHER_NAME),
        For("a name above it", "DNS:test", OTHER_NAME),
        For("a name that begins so", "DNS:service.test.evil.example", OTHER_NAME),
        For("a name that ends so", "DNS:evilservice.test", OTHER_NAME),
        For("a wildcard", "DNS:*.service.test", "200 answer", "https://a.service.test"),
        For("a wildcard for two labels", "DNS:*.service.test", OTHER_NAME, "https://a.b.service.test"),
        For("a wildcard for no label", "DNS:*.service.test", OTHER_NAME),
        For("a wildcard for a part of a label", "DNS:serv*.test", OTHER_NAME),
        For("a wildcard amid a label", "DNS:a*c.service.test", OTHER_NAME, "https://abc.service.test"),
        For("a wildcard behind the first label", "DNS:a.*.test", OTHER_NAME, "https://a.service.test"),
        For("two wildcards", "DNS:*.*.test", OTHER_NAME, "https://a.service.test"),
        For("a wildcard for all of a domain", "DNS:*.test", OTHER_NAME),
        For("a wildcard alone", "DNS:*", OTHER_NAME),
        For("a wildcard for an address", "DNS:*.0.0.1", OTHER_ADDRESS, "https://127.0.0.1"),
        For("an encoded international name", "DNS:xn--bcher-kva.test", "200 answer",
            "https://xn--bcher-kva.test"),
        For("no names", "", OTHER_NAME),
        For("a name as a URI", "URI:https://service.test", OTHER_NAME),
        For("a name as an address of mail", "email:service.test@service.test", OTHER_NAME),
        CommonName("the common name alone", ""),
        CommonName("the common name beside other names", "DNS:other.test"),
        CommonName("the common name beside an address", "IP:127.0.0.1"),
        Raw("a name that NUL cuts short", "service.test\0.evil.example"s, OTHER_NAME),
        Raw("a name with NUL behind it", "service.test\0"s, OTHER_NAME),
        Raw("a name with a blank behind it", "service.test ", OTHER_NAME),
        For("the address", "IP:127.0.0.1", "200 answer", "https://127.0.0.1"),
        For("the address of version 6", "IP:::1", "200 answer", "https://[::1]"),
        For("another address", "IP:127.0.0.2", OTHER_ADDRESS, "https://127.0.0.1"),
        For("an address among the names", "DNS:127.0.0.1", OTHER_ADDRESS, "https://127.0.0.1"),
        For("an address where a name is meant", "IP:127.0.0.1", OTHER_NAME),
        With(For("the name that the host says", "DNS:db.internal"), expecting("db.internal")),
        With(For("the origin where the host says another name", "DNS:service.test", OTHER_NAME),
             expecting("db.internal")),
        With(For("any name where the host does not look", "DNS:other.test"), anyName),
    };
}
