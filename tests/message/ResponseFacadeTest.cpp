// SPDX-License-Identifier: Apache-2.0
// The public response class and the virtual table behind it. Compiled without access control, so that the
// implementation can be exchanged.
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include <httpclient/HttpResponse.h>

#include "RecordingResponse.h"
#include "VirtualTable.h"
#include "message/HttpResponseImp.h"

static_assert(!std::is_copy_constructible_v<CHttpResponse> && !std::is_copy_assignable_v<CHttpResponse>);
static_assert(!std::is_move_constructible_v<CHttpResponse> && !std::is_move_assignable_v<CHttpResponse>);

namespace {

using Text = std::string;
using Calls = std::vector<std::string>;

constexpr std::size_t OPERATIONS_BEGIN = 2;

} // namespace

TEST(ResponseInterface, HasItsOperationsInOrder) {
    Calls calls;
    RecordingResponse recorder(calls);
    CHttpResponseInter& response = recorder;
    std::size_t place = OPERATIONS_BEGIN;
    Slot<void(const Text&)>::Call(response, place++, "v");
    EXPECT_TRUE((Slot<bool(const Text&, const Text&)>::Call(response, place++, "n", "v")));
    EXPECT_EQ(Slot<Text(const Text&)>::Call(response, place++, "n"), "answer of getResponseHeadEntry");
    EXPECT_EQ(Slot<Text(unsigned int)>::Call(response, place++, 3), "answer of getResponseHeadEntry");
    EXPECT_EQ(Slot<Text()>::Call(response, place++), "answer of getResponseHead");
    EXPECT_EQ(Slot<unsigned int()>::Call(response, place++), 42u);
    Slot<void()>::Call(response, place++);
    EXPECT_EQ(Slot<Text()>::Call(response, place++), "answer of getResponseBody");
    Slot<void(const Text&)>::Call(response, place++, "v");
    EXPECT_EQ(Slot<Text()>::Call(response, place++), "answer of getContentType");
    EXPECT_TRUE(Slot<bool(const Text&)>::Call(response, place++, "v"));
    Slot<void(double)>::Call(response, place++, 2.5);
    EXPECT_EQ(Slot<double()>::Call(response, place++), 1.5);
    EXPECT_EQ(Slot<Text()>::Call(response, place++), "answer of getCharset");
    EXPECT_EQ(Slot<int()>::Call(response, place++), 204);
    Slot<void(int)>::Call(response, place++, 404);
    EXPECT_EQ(place, OPERATIONS_BEGIN + 16);
    EXPECT_EQ(calls, (Calls{"setResponseHead(v)", "addResponseHeadEntry(n, v)", "getResponseHeadEntry(n)",
                            "getResponseHeadEntry(#3)", "getResponseHead()", "getResponseHeadNums()",
                            "parseHead()", "getResponseBody()", "setResponseBody(v)", "getContentType()",
                            "setContentType(v)", "setContentLen(2.500000)", "getContentLen()", "getCharset()",
                            "getStatusCode()", "setStatusCode(404)"}));
}

TEST(ResponseInterface, HasTheDestructorsFirst) {
    Calls calls;
    auto* const response = new RecordingResponse(calls);
    Slot<void()>::Call(static_cast<CHttpResponseInter&>(*response), 0);
    EXPECT_EQ(calls, Calls{"destroyed"});
    ::operator delete(response); // the first leaves the memory alone, the second does not
    Slot<void()>::Call(static_cast<CHttpResponseInter&>(*new RecordingResponse(calls)), 1);
    EXPECT_EQ(calls, (Calls{"destroyed", "destroyed"}));
}

TEST(ResponseFacade, ForwardsEveryOperationOfItsOwn) {
    Calls calls;
    CHttpResponse changing;
    const CHttpResponse& response = changing;
    changing.m_pImp = std::make_unique<RecordingResponse>(calls);
    changing.setResponseHead("v");
    EXPECT_TRUE(changing.addResponseHeadEntry("n", "v"));
    EXPECT_EQ(response.getResponseHeadEntry("n"), "answer of getResponseHeadEntry");
    EXPECT_EQ(response.getResponseHeadEntry(3u), "answer of getResponseHeadEntry");
    EXPECT_EQ(response.getResponseHead(), "answer of getResponseHead");
    EXPECT_EQ(response.getResponseHeadNums(), 42u);
    EXPECT_EQ(response.getResponseBody(), "answer of getResponseBody");
    changing.setResponseBody("v");
    EXPECT_EQ(response.getContentType(), "answer of getContentType");
    EXPECT_TRUE(changing.setContentType("v"));
    changing.setContentLen(2.5);
    EXPECT_EQ(response.getContentLen(), 1.5);
    EXPECT_EQ(response.getCharset(), "answer of getCharset");
    EXPECT_EQ(response.getStatusCode(), 204);
    changing.setStatusCode(404);
    EXPECT_EQ(calls, (Calls{"setResponseHead(v)", "addResponseHeadEntry(n, v)", "getResponseHeadEntry(n)",
                            "getResponseHeadEntry(#3)", "getResponseHead()", "getResponseHeadNums()",
                            "getResponseBody()", "setResponseBody(v)", "getContentType()",
                            "setContentType(v)", "setContentLen(2.500000)", "getContentLen()", "getCharset()",
                            "getStatusCode()", "setStatusCode(404)"}));
}

TEST(ResponseFacade, EndsTheLifeOfItsImplementation) {
    Calls calls;
    {
        CHttpResponse response;
        response.m_pImp = std::make_unique<RecordingResponse>(calls);
    }
    EXPECT_EQ(calls, Calls{"destroyed"});
}

TEST(ResponseWithoutImplementation, AnswersNeutrallyAndChangesNothing) {
    CHttpResponse changing;
    const CHttpResponse& response = changing;
    changing.setStatusCode(200);
    changing.setContentLen(3.0);
    std::unique_ptr<CHttpResponseInter> kept = std::move(changing.m_pImp);

    changing.setResponseHead("v");
    EXPECT_FALSE(changing.addResponseHeadEntry("n", "v"));
    EXPECT_EQ(response.getResponseHeadEntry("n"), "");
    EXPECT_EQ(response.getResponseHeadEntry(0u), "");
    EXPECT_EQ(response.getResponseHead(), "");
    EXPECT_EQ(response.getResponseHeadNums(), 0u);
    EXPECT_EQ(response.getResponseBody(), "");
    changing.setResponseBody("v");
    EXPECT_EQ(response.getContentType(), "");
    EXPECT_FALSE(changing.setContentType("v"));
    changing.setContentLen(2.5);
    EXPECT_EQ(response.getContentLen(), 0.0);
    EXPECT_EQ(response.getCharset(), "");
    changing.setStatusCode(404);
    EXPECT_EQ(response.getStatusCode(), 0) << "not -1, which is a new implementation's";

    changing.m_pImp = std::move(kept);
    EXPECT_EQ(response.getStatusCode(), 200);
    EXPECT_EQ(response.getContentLen(), 3.0);
    EXPECT_EQ(response.getResponseHeadNums(), 0u);
}

TEST(ResponseWithoutImplementation, CanBeDestroyed) {
    CHttpResponse response;
    response.m_pImp.reset();
}

TEST(ResponseImplementation, ParsingTheHeadDoesNothing) {
    CHttpResponseImp imp;
    imp.setResponseHead("HTTP/1.1 200 OK\r\nA: 1\r\n\r\n");
    imp.parseHead();
    EXPECT_EQ(imp.getResponseHeadNums(), 0u);
    EXPECT_EQ(imp.getResponseHead(), "HTTP/1.1 200 OK\r\nA: 1\r\n\r\n");
    EXPECT_EQ(imp.getStatusCode(), -1);
}

TEST(ResponseImplementation, LeavesItsReservedTextEmpty) {
    CHttpResponseImp imp;
    imp.setResponseHead("head");
    imp.setResponseBody("body");
    imp.setContentType("type");
    imp.addResponseHeadEntry("name", "value");
    imp.parseHead();
    EXPECT_EQ(imp.m_strReserved, "");
}
