// SPDX-License-Identifier: Apache-2.0
#include "interpose/CurlRecorder.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <httpclient/testing/LoopbackServer.h>

#include "CurlClient.h"

namespace httpclient::testing {

namespace {

std::vector<CurlCall> CallsOf(const std::vector<CurlEvent>& events) {
    std::vector<CurlCall> calls;
    for (const CurlEvent& event : events) {
        calls.push_back(event.call);
    }
    return calls;
}

/// An easy handle that cleans up after itself.
struct Handle {
    CURL* const curl = curl_easy_init();
    Handle() = default;
    ~Handle() { curl_easy_cleanup(curl); }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
};

TEST(CurlRecorder, RecordsOptionsInOrderWithTheirValues) {
    CurlRecorder recorder;
    const Handle handle;
    std::string body = "the body";
    std::string sink;
    curl_easy_setopt(handle.curl, CURLOPT_URL, "http://127.0.0.1/");
    curl_easy_setopt(handle.curl, CURLOPT_POSTFIELDS, body.c_str());
    curl_easy_setopt(handle.curl, CURLOPT_CONNECTTIMEOUT, 10L);
    curl_easy_setopt(handle.curl, CURLOPT_MAXFILESIZE_LARGE, curl_off_t{1} << 40);
    curl_easy_setopt(handle.curl, CURLOPT_WRITEFUNCTION, &AppendBody);
    curl_easy_setopt(handle.curl, CURLOPT_WRITEDATA, &sink);
    curl_easy_setopt(handle.curl, CURLOPT_HTTPHEADER, nullptr);
    curl_easy_setopt(handle.curl, CURLOPT_COOKIE, nullptr);
    body.assign(body.size(), '-'); // the texts are copies

    EXPECT_EQ(recorder.Options(),
              (std::vector<CURLoption>{CURLOPT_URL, CURLOPT_POSTFIELDS, CURLOPT_CONNECTTIMEOUT,
                                       CURLOPT_MAXFILESIZE_LARGE, CURLOPT_WRITEFUNCTION, CURLOPT_WRITEDATA,
                                       CURLOPT_HTTPHEADER, CURLOPT_COOKIE}));
    const auto events = recorder.Events(CurlCall::EasySetopt);
    EXPECT_EQ(events[0].text, "http://127.0.0.1/");
    EXPECT_EQ(events[0].handle, handle.curl);
    EXPECT_EQ(events[0].thread, std::this_thread::get_id());
    EXPECT_EQ(events[1].text, "the body");
    EXPECT_EQ(events[1].pointer, body.c_str());
    EXPECT_EQ(events[2].number, 10);
    EXPECT_EQ(events[3].number, 1LL << 40);
    EXPECT_EQ(events[4].pointer, reinterpret_cast<const void*>(&AppendBody));
    EXPECT_EQ(events[5].pointer, &sink);
    EXPECT_EQ(events[5].text, std::nullopt);
    EXPECT_EQ(events[6].pointer, nullptr);
    EXPECT_EQ(events[7].text, std::nullopt);
}

TEST(CurlRecorder, LetsOptionsReachLibcurlUnchanged) {
    const LoopbackServer server([](const RecordedRequest&) { return Respond(200, {}, "hello"); });
    CurlRecorder recorder;
    const Fetched fetched = Fetch(server.url("/path"), [](CURL* handle) {
        curl_easy_setopt(handle, CURLOPT_POSTFIELDS, "body");
        curl_easy_setopt(handle, CURLOPT_MAXFILESIZE_LARGE, curl_off_t{1} << 40);
        curl_easy_setopt(handle, CURLOPT_CUSTOMREQUEST, "PUT");
    });
    EXPECT_EQ(fetched.code, CURLE_OK);
    EXPECT_EQ(fetched.body, "hello");
    EXPECT_EQ(fetched.status, 200);
    EXPECT_EQ(server.requests().at(0).method, "PUT");
    EXPECT_EQ(server.requests().at(0).body, "body");
    EXPECT_EQ(recorder.Last(CURLOPT_CUSTOMREQUEST)->text, "PUT");
    EXPECT_FALSE(recorder.Last(CURLOPT_COOKIE));
}

TEST(CurlRecorder, PutsAllFunctionsIntoOneOrder) {
    CurlRecorder recorder;
    CURL* const easy = curl_easy_init();
    CURLM* const multi = curl_multi_init();
    curl_slist* const list = curl_slist_append(nullptr, "A: b");
    curl_easy_setopt(easy, CURLOPT_HTTPHEADER, list);
    curl_multi_add_handle(multi, easy);
    int running = 0;
    curl_multi_perform(multi, &running);
    long timeout = 0;
    curl_multi_timeout(multi, &timeout);
    fd_set sets[3];
    for (fd_set& set : sets) {
        FD_ZERO(&set);
    }
    int highest = 0;
    curl_multi_fdset(multi, &sets[0], &sets[1], &sets[2], &highest);
    curl_multi_remove_handle(multi, easy);
    curl_easy_perform(easy);
    long status = 0;
    curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &status);
    curl_easy_reset(easy);
    curl_slist_free_all(list);
    curl_easy_cleanup(easy);
    curl_multi_cleanup(multi);

    const auto events = recorder.Events();
    EXPECT_EQ(CallsOf(events), (std::vector<CurlCall>{
                                   CurlCall::EasyInit, CurlCall::MultiInit, CurlCall::SlistAppend,
                                   CurlCall::EasySetopt, CurlCall::MultiAddHandle, CurlCall::MultiPerform,
                                   CurlCall::MultiTimeout, CurlCall::MultiFdset, CurlCall::MultiRemoveHandle,
                                   CurlCall::EasyPerform, CurlCall::EasyGetinfo, CurlCall::EasyReset,
                                   CurlCall::SlistFreeAll, CurlCall::EasyCleanup, CurlCall::MultiCleanup}));
    EXPECT_EQ(events[0].handle, easy);
    EXPECT_EQ(events[1].handle, multi);
    EXPECT_EQ(events[2].text, "A: b");
    EXPECT_EQ(events[2].handle, list);
    EXPECT_EQ(events[4].other, easy);
    EXPECT_EQ(events[9].result, CURLE_URL_MALFORMAT);
    EXPECT_EQ(events[10].info, CURLINFO_RESPONSE_CODE);
}

TEST(CurlRecorder, ForcesTheOutcomeOfTheCallThatItIsTold) {
    CurlRecorder recorder;
    const Handle handle;
    recorder.Force(CurlCall::EasyPerform, CURLE_SEND_ERROR, 2);
    EXPECT_EQ(curl_easy_perform(handle.curl), CURLE_URL_MALFORMAT);
    EXPECT_EQ(curl_easy_perform(handle.curl), CURLE_SEND_ERROR);
    EXPECT_EQ(curl_easy_perform(handle.curl), CURLE_URL_MALFORMAT);
    const auto performs = recorder.Events(CurlCall::EasyPerform);
    EXPECT_FALSE(performs[0].forced);
    EXPECT_TRUE(performs[1].forced);
    EXPECT_EQ(performs[1].result, CURLE_SEND_ERROR);
}

TEST(CurlRecorder, ForcesNullHandlesAndLists) {
    CurlRecorder recorder;
    recorder.Force(CurlCall::EasyInit);
    recorder.Force(CurlCall::MultiInit);
    recorder.Force(CurlCall::SlistAppend);
    EXPECT_EQ(curl_easy_init(), nullptr);
    EXPECT_EQ(curl_multi_init(), nullptr);
    EXPECT_EQ(curl_slist_append(nullptr, "A: b"), nullptr);
}

TEST(CurlRecorder, ForcesAnOptionUntilToldOtherwise) {
    CurlRecorder recorder;
    const Handle handle;
    recorder.ForceOption(CURLOPT_CUSTOMREQUEST, CURLE_OUT_OF_MEMORY);
    EXPECT_EQ(curl_easy_setopt(handle.curl, CURLOPT_NOSIGNAL, 1L), CURLE_OK);
    EXPECT_EQ(curl_easy_setopt(handle.curl, CURLOPT_CUSTOMREQUEST, "GET"), CURLE_OUT_OF_MEMORY);
    EXPECT_EQ(curl_easy_setopt(handle.curl, CURLOPT_CUSTOMREQUEST, "GET"), CURLE_OUT_OF_MEMORY);
    recorder.ForceOption(CURLOPT_CUSTOMREQUEST, CURLE_OK);
    EXPECT_EQ(curl_easy_setopt(handle.curl, CURLOPT_CUSTOMREQUEST, "GET"), CURLE_OK);
    recorder.Force(CurlCall::EasySetopt, CURLE_BAD_FUNCTION_ARGUMENT);
    EXPECT_EQ(curl_easy_setopt(handle.curl, CURLOPT_URL, "x"), CURLE_BAD_FUNCTION_ARGUMENT);
    EXPECT_EQ(curl_easy_setopt(handle.curl, CURLOPT_URL, "x"), CURLE_OK);
}

TEST(CurlRecorder, RecordsAndForcesNothingOnceItIsGone) {
    {
        CurlRecorder recorder;
        recorder.Force(CurlCall::EasyInit);
        recorder.ForceOption(CURLOPT_NOSIGNAL, CURLE_OUT_OF_MEMORY);
    }
    const Handle handle;
    ASSERT_NE(handle.curl, nullptr);
    EXPECT_EQ(curl_easy_setopt(handle.curl, CURLOPT_NOSIGNAL, 1L), CURLE_OK);
    const CurlRecorder next;
    EXPECT_TRUE(next.Events().empty());
}

TEST(CurlRecorder, ForgetsCallsButNotWhatIsForcedWhenCleared) {
    CurlRecorder recorder;
    const Handle handle;
    recorder.Force(CurlCall::EasyPerform, CURLE_SEND_ERROR);
    recorder.Clear();
    EXPECT_TRUE(recorder.Events().empty());
    EXPECT_EQ(curl_easy_perform(handle.curl), CURLE_SEND_ERROR);
}

} // namespace

} // namespace httpclient::testing
