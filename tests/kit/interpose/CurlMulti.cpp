// SPDX-License-Identifier: Apache-2.0
// Holds the multi interface of libcurl.
#include "interpose/CurlLedger.h"
#include "interpose/Next.h"

using namespace httpclient::testing;

namespace {

CurlEvent EventOf(CurlCall call, CURLM* multi, CURL* easy) {
    CurlEvent event = httpclient::testing::EventOf(call, multi);
    event.other = easy;
    return event;
}

template <class Real> CURLMcode Hold(CurlEvent event, const Real& real) {
    const auto forced = CurlLedger::Instance().Forced(event.call);
    return HoldCode<CURLMcode>(std::move(event), forced, real);
}

} // namespace

extern "C" {

CURLM* curl_multi_init() {
    static auto* const next = Next<CURLM*()>("curl_multi_init");
    return HoldMaker(EventOf(CurlCall::MultiInit), [] { return next(); });
}

CURLMcode curl_multi_add_handle(CURLM* multi, CURL* easy) {
    static auto* const next = Next<CURLMcode(CURLM*, CURL*)>("curl_multi_add_handle");
    return Hold(EventOf(CurlCall::MultiAddHandle, multi, easy), [=] { return next(multi, easy); });
}

CURLMcode curl_multi_remove_handle(CURLM* multi, CURL* easy) {
    static auto* const next = Next<CURLMcode(CURLM*, CURL*)>("curl_multi_remove_handle");
    return Hold(EventOf(CurlCall::MultiRemoveHandle, multi, easy), [=] { return next(multi, easy); });
}

CURLMcode curl_multi_perform(CURLM* multi, int* running) {
    static auto* const next = Next<CURLMcode(CURLM*, int*)>("curl_multi_perform");
    return Hold(EventOf(CurlCall::MultiPerform, multi), [=] { return next(multi, running); });
}

CURLMcode curl_multi_timeout(CURLM* multi, long* milliseconds) {
    static auto* const next = Next<CURLMcode(CURLM*, long*)>("curl_multi_timeout");
    return Hold(EventOf(CurlCall::MultiTimeout, multi), [=] { return next(multi, milliseconds); });
}

CURLMcode curl_multi_fdset(CURLM* multi, fd_set* readable, fd_set* writable, fd_set* failed, int* highest) {
    static auto* const next = Next<CURLMcode(CURLM*, fd_set*, fd_set*, fd_set*, int*)>("curl_multi_fdset");
    return Hold(EventOf(CurlCall::MultiFdset, multi),
                [=] { return next(multi, readable, writable, failed, highest); });
}

CURLMcode curl_multi_cleanup(CURLM* multi) {
    static auto* const next = Next<CURLMcode(CURLM*)>("curl_multi_cleanup");
    return Hold(EventOf(CurlCall::MultiCleanup, multi), [=] { return next(multi); });
}

} // extern "C"
