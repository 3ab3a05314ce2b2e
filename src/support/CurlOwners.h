// SPDX-License-Identifier: Apache-2.0
/// @file
/// Owners of what libcurl hands out.
#pragma once

#include <cstring>
#include <memory>

#include <strings.h>

#include <curl/curl.h>

#include "support/Cancellation.h"

// Cleaning up may write to a socket and wait, where a cancellation must not end a destructor.

struct CurlEasyCleanup {
    void operator()(CURL* curl) const {
        const CancellationBlock block;
        curl_easy_cleanup(curl);
    }
};
/// Owns an easy handle.
using CurlEasyPtr = std::unique_ptr<CURL, CurlEasyCleanup>;

/// Makes an easy handle; null where libcurl has none to give. The first of the process sets libcurl up, under a lock and
/// with files that are read: a thread that was cancelled amid that would leave the lock to nobody.
inline CurlEasyPtr MakeCurlEasy() {
    const CancellationBlock block;
    return CurlEasyPtr(curl_easy_init());
}

struct CurlMultiCleanup {
    void operator()(CURLM* multi) const {
        const CancellationBlock block;
        curl_multi_cleanup(multi);
    }
};
/// Owns a multi handle.
using CurlMultiPtr = std::unique_ptr<CURLM, CurlMultiCleanup>;

struct CurlSlistFree {
    void operator()(curl_slist* list) const {
        // A line may hold a token, or what a host authorizes itself with.
        for (const curl_slist* line = list; line != nullptr; line = line->next) {
            explicit_bzero(line->data, std::strlen(line->data));
        }
        curl_slist_free_all(list);
    }
};
/// Owns a header list, whose lines are wiped.
using CurlSlistPtr = std::unique_ptr<curl_slist, CurlSlistFree>;

struct CurlTextFree {
    void operator()(char* text) const { curl_free(text); }
};
/// Owns a text that libcurl allocated.
using CurlTextPtr = std::unique_ptr<char, CurlTextFree>;
