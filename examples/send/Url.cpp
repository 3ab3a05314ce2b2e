// SPDX-License-Identifier: Apache-2.0
#include "send/Url.h"

#include <algorithm>
#include <memory>
#include <optional>

#include <curl/curl.h>
#include <fmt/format.h>

#include "send/Errors.h"

namespace sender {
namespace {

using CurlUrl = std::unique_ptr<CURLU, decltype(&curl_url_cleanup)>;
using CurlText = std::unique_ptr<char, decltype(&curl_free)>;

/// A URL as it may be shown: without the credentials that it may hold.
std::string Shown(const std::string& url) {
    const size_t at = url.rfind('@');
    return at == std::string::npos ? url : "…" + url.substr(at);
}

[[noreturn]] void Refuse(const std::string& url, const std::string& why) {
    throw UsageError(fmt::format("cannot send to \"{}\": {}", Shown(url), why));
}

/// One piece of a URL; nothing when the URL has no such piece.
std::optional<std::string> Piece(const CurlUrl& url, CURLUPart part, unsigned int flags = 0) {
    char* text = nullptr;
    if (curl_url_get(url.get(), part, &text, flags) != CURLUE_OK) {
        return std::nullopt;
    }
    return std::string(CurlText(text, curl_free).get());
}

/// libcurl forgives a missing "//" and one "/" too many, which here are more likely a slip.
void CheckStart(const std::string& url) {
    const size_t slashes = url.find("://");
    if (slashes == std::string::npos) {
        Refuse(url, "it has to begin with http:// or https://");
    }
    if (url.compare(slashes, 4, ":///") == 0) {
        Refuse(url, "it names no host");
    }
}

CurlUrl Read(const std::string& text) {
    CurlUrl url(curl_url(), curl_url_cleanup);
    const CURLUcode code =
        curl_url_set(url.get(), CURLUPART_URL, text.c_str(), CURLU_NON_SUPPORT_SCHEME | CURLU_PATH_AS_IS);
    if (code != CURLUE_OK) {
        Refuse(text, curl_url_strerror(code));
    }
    return url;
}

bool IsPlainAscii(const std::string& text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return c > ' ' && c < '\x7f'; });
}

} // namespace

Target ParseUrl(const std::string& text) {
    if (!IsPlainAscii(text)) {
        Refuse(text, "spaces, control characters and non-ASCII letters have to be percent-escaped");
    }
    CheckStart(text);
    const CurlUrl url = Read(text);
    Target target;
    target.scheme = Piece(url, CURLUPART_SCHEME).value_or("");
    if (target.scheme != "http" && target.scheme != "https") {
        Refuse(text, fmt::format("the scheme \"{}\" is neither http nor https", target.scheme));
    }
    if (Piece(url, CURLUPART_USER) || Piece(url, CURLUPART_PASSWORD)) {
        Refuse(text, "credentials in a URL are not sent; put an Authorization header into --header-file");
    }
    if (Piece(url, CURLUPART_FRAGMENT)) {
        Refuse(text, "what follows \"#\" never goes to a server; leave it out");
    }
    target.host = Piece(url, CURLUPART_HOST).value_or("");
    if (const auto zone = Piece(url, CURLUPART_ZONEID)) {
        target.host.insert(target.host.size() - 1, "%25" + *zone);
    }
    target.port = std::stoi(Piece(url, CURLUPART_PORT, CURLU_DEFAULT_PORT).value_or("0"));
    if (target.host.empty() || target.port == 0) {
        Refuse(text, target.host.empty() ? "it names no host" : "port 0 is not a port to send to");
    }
    target.path = Piece(url, CURLUPART_PATH).value_or("/");
    if (const auto query = Piece(url, CURLUPART_QUERY)) {
        target.path += "?" + *query;
    }
    return target;
}

} // namespace sender
