// SPDX-License-Identifier: Apache-2.0
// Holds the lists of libcurl.
#include "interpose/CurlLedger.h"
#include "interpose/Next.h"

using namespace httpclient::testing;

extern "C" {

curl_slist* curl_slist_append(curl_slist* list, const char* line) {
    static auto* const next = Next<curl_slist*(curl_slist*, const char*)>("curl_slist_append");
    CurlEvent event = EventOf(CurlCall::SlistAppend);
    if (line != nullptr) {
        event.text = line;
    }
    return HoldMaker(std::move(event), [=] { return next(list, line); });
}

void curl_slist_free_all(curl_slist* list) {
    static auto* const next = Next<void(curl_slist*)>("curl_slist_free_all");
    HoldVoid(EventOf(CurlCall::SlistFreeAll, list), [list] { next(list); });
}

} // extern "C"
