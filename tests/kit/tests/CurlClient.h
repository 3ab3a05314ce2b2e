// SPDX-License-Identifier: Apache-2.0
/// @file
/// A client on plain libcurl.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include <curl/curl.h>

namespace httpclient::testing {

/// What came of one transfer.
struct Fetched {
    CURLcode code = CURLE_OK;
    long status = 0;
    std::string body;
};

inline std::size_t AppendBody(char* data, std::size_t size, std::size_t count, void* body) {
    static_cast<std::string*>(body)->append(data, size * count);
    return size * count;
}

/// Fetches a URL with a handle of its own, prepared by @p prepare.
inline Fetched Fetch(const std::string& url, const std::function<void(CURL*)>& prepare = {}) {
    const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> handle(curl_easy_init(), &curl_easy_cleanup);
    Fetched fetched;
    curl_easy_setopt(handle.get(), CURLOPT_URL, url.c_str());
    curl_easy_setopt(handle.get(), CURLOPT_WRITEFUNCTION, &AppendBody);
    curl_easy_setopt(handle.get(), CURLOPT_WRITEDATA, &fetched.body);
    curl_easy_setopt(handle.get(), CURLOPT_TIMEOUT, 10L);
    curl_easy_setopt(handle.get(), CURLOPT_NOSIGNAL, 1L);
    if (prepare) {
        prepare(handle.get());
    }
    fetched.code = curl_easy_perform(handle.get());
    curl_easy_getinfo(handle.get(), CURLINFO_RESPONSE_CODE, &fetched.status);
    return fetched;
}

} // namespace httpclient::testing
