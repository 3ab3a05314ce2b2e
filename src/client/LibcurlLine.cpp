// SPDX-License-Identifier: Apache-2.0
#include "client/LibcurlLine.h"

#include <algorithm>
#include <iterator>

#include <strings.h>

namespace {

constexpr std::size_t NONE = std::string_view::npos;
constexpr std::string_view AFTER_SCHEME = "://";

// libcurl cuts lines off at its buffers' ends, the shorter of which holds 256 bytes.
constexpr std::size_t LONGEST_WHOLE = 253;

bool Holds(std::string_view text, std::string_view part) {
    return text.find(part) != NONE;
}

bool IsOfScheme(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '+' ||
           c == '-' || c == '.';
}

/// Over HTTP/2 and 3 libcurl repeats the header lines that it sends as informational text: "h2h3 [name: value]", in
/// other versions "h2 [name: value]", "h3 [name: value]" and "[HTTP/2] [1] [name: value]".
/// @return where the value begins.
std::size_t RepeatedHeaderValue(std::string_view line) {
    constexpr std::string_view BEGINNINGS[] = {"h2h3 [", "h2 [", "h3 [", "[HTTP/"};
    if (std::none_of(std::begin(BEGINNINGS), std::end(BEGINNINGS),
                     [line](std::string_view beginning) { return BeginsWith(line, beginning); })) {
        return NONE;
    }
    const std::size_t separator = line.find(": ");
    return separator == NONE ? NONE : separator + 2;
}

/// @return where the URL goes on behind its scheme, if it has one: a proxy's needs none.
std::size_t BehindScheme(std::string_view line, std::size_t url) {
    const auto* const end = std::find_if_not(line.begin() + url, line.end(), IsOfScheme);
    const auto at = static_cast<std::size_t>(end - line.begin());
    return at > url && BeginsWith(line.substr(at), AFTER_SCHEME) ? at + AFTER_SCHEME.size() : url;
}

/// @return "NAME == 'VALUE'" of a line about a variable that names a proxy; empty for any other line.
std::string_view ProxyVariable(std::string_view line) {
    constexpr std::string_view USES = "Uses proxy env variable ";
    return BeginsWith(line, USES) ? line.substr(USES.size()) : std::string_view();
}

/// What is quoted in a line about a proxy is a URL, whatever it looks like, and holds what the environment has: any
/// bytes.
/// @return where it begins, its scheme left out.
std::size_t UrlOfProxy(std::string_view line) {
    const std::string_view variable = ProxyVariable(line);
    // It holds hosts, unless somebody took it for another one.
    const bool namesHosts =
        (BeginsWith(variable, "no_proxy ==") || BeginsWith(variable, "NO_PROXY ==")) && !Holds(variable, "@");
    const bool aboutProxy = Holds(line, "roxy") && !namesHosts;
    const std::size_t quote = aboutProxy ? line.find('\'') : NONE;
    return quote == NONE ? NONE : BehindScheme(line, quote + 1);
}

/// A proxy's URL without an "@" holds a password where its host was forgotten.
/// @param url the rest of a line that quotes it, its scheme left out.
/// @return whether it is a host, maybe with a port, and nothing else.
bool IsHostAndPort(std::string_view url) {
    constexpr std::string_view DIGITS = "0123456789";
    constexpr std::string_view OF_NAME = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789.-_";
    url = url.substr(0, url.find_last_not_of("/'\n") + 1);
    const std::size_t bracket = BeginsWith(url, "[") ? url.find(']') : NONE; // of an IPv6 address
    const std::size_t host = bracket == NONE ? url.find_first_not_of(OF_NAME) : bracket + 1;
    const std::string_view rest = url.substr(std::min(host, url.size()));
    return rest.empty() || (BeginsWith(rest, ":") && rest.find_first_not_of(DIGITS, 1) == NONE);
}

/// @return whether a line quotes a setting of a proxy, in which the "@" may have been forgotten.
bool IsSettingOfProxy(std::string_view line) {
    return !ProxyVariable(line).empty() || BeginsWith(line, "Unsupported proxy ");
}

/// @return where any other URL begins, its scheme left out.
std::size_t UrlOfRequest(std::string_view line) {
    const std::size_t scheme = line.find(AFTER_SCHEME);
    return scheme == NONE ? NONE : scheme + AFTER_SCHEME.size();
}

/// @return where a line has what libcurl takes for a proxy's host: what stands before a "/" of a password, maybe.
std::size_t UnknownProxy(std::string_view line) {
    constexpr std::string_view UNKNOWN = "Could not resolve proxy: ";
    return BeginsWith(line, UNKNOWN) ? UNKNOWN.size() : NONE;
}

/// A user to log in as comes from a URL, and may be a key that stands for its owner.
/// @return where it begins in a line that quotes it.
std::size_t QuotedUser(std::string_view line) {
    constexpr std::string_view USER = " with user '";
    if (!BeginsWith(line, "Proxy auth using ") && !BeginsWith(line, "Server auth using ")) {
        return NONE;
    }
    const std::size_t quoted = line.find(USER);
    return quoted == NONE ? NONE : quoted + USER.size();
}

std::string CutOffAt(std::string_view line, std::size_t end) {
    return std::string(line.substr(0, end)) + "...\n";
}

/// @return the line without what stands before the "@" of its URL; nothing when there is none.
std::optional<std::string> WithoutUser(std::string_view line, std::size_t url) {
    // The last one: a password that nobody has escaped may hold any character.
    const std::size_t at = line.rfind('@');
    if (at == NONE || at < url) {
        return std::nullopt;
    }
    return std::string(line.substr(0, url)) + "..." + std::string(line.substr(at));
}

} // namespace

std::optional<std::string> WithoutSecrets(const char* line) {
    if (line == nullptr) {
        return std::nullopt;
    }
    const std::string_view text(line);
    // A header's value may be a token, and no header is logged over HTTP/1.1 either.
    if (const std::size_t value = RepeatedHeaderValue(text); value != NONE) {
        return std::string(text.substr(0, value)) + "...]\n";
    }
    if (const std::size_t secret = std::min(QuotedUser(text), UnknownProxy(text)); secret != NONE) {
        return CutOffAt(text, secret);
    }
    const std::size_t proxy = UrlOfProxy(text);
    const std::size_t url = proxy != NONE ? proxy : UrlOfRequest(text);
    if (url == NONE) {
        return std::nullopt;
    }
    if (text.size() > LONGEST_WHOLE) { // the "@" may be cut off
        return CutOffAt(text, url);
    }
    if (proxy != NONE && IsSettingOfProxy(text) && text.find('@', url) == NONE &&
        !IsHostAndPort(text.substr(url))) {
        return CutOffAt(text, url);
    }
    // Parameters are not logged. A query that the host wrote cannot be told from them.
    const std::size_t query = proxy != NONE ? NONE : text.find('?', url);
    if (query == NONE) {
        return WithoutUser(text, url);
    }
    if (Holds(text.substr(query), "@")) { // of a password that has a "?", or of a parameter's name
        return CutOffAt(text, url);
    }
    const std::string shown = CutOffAt(text, query + 1);
    return WithoutUser(shown, url).value_or(shown);
}

bool IsOverTls(const char* url) {
    constexpr char SCHEME[] = "https:";
    return strncasecmp(url, SCHEME, sizeof SCHEME - 1) == 0;
}

bool NamesTlsProxy(std::string_view line) {
    constexpr std::string_view VALUE = " == '";
    const std::string_view variable = ProxyVariable(line);
    const std::size_t value = variable.find(VALUE);
    return value != NONE &&
           IsOverTls(variable.data() + value + VALUE.size()); // libcurl ends its lines with NUL
}
