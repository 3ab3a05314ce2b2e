// SPDX-License-Identifier: Apache-2.0
// Where each class keeps its fields, and in which slots of a virtual table a host that is compiled today looks for the
// pool's operations. Hosts and libraries that were built apart rely on both. Compiled without access control. What the
// tables in the library hold: SlotOrderTest.cpp.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <map>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include <httpclient/HttpClient.h>
#include <httpclient/HttpConnectionMgr.h>
#include <httpclient/HttpRequest.h>
#include <httpclient/HttpResponse.h>

#include "client/AsyncOperation.h"
#include "client/HttpClientImp.h"
#include "identity/HttpSiaToken.h"
#include "message/HttpRequestImp.h"
#include "message/HttpResponseImp.h"
#include "pool/HttpConnection.h"
#include "pool/HttpsConnection.h"

namespace {

struct FieldRow {
    const char* name;
    std::ptrdiff_t expected;
    std::ptrdiff_t offset;
};

/// @param offset where the field is to lie. That it is of this type, the compiler sees to.
template <class Type, class Class>
FieldRow Field(const char* name, Type Class::*field, std::ptrdiff_t offset) {
    FieldRow row{name, offset, 0};
    static_assert(sizeof field ==
                  sizeof row.offset); // a pointer to a field is its offset (Itanium C++ ABI, 2.3)
    std::memcpy(&row.offset, &field, sizeof field);
    return row;
}

using Text = std::string;
using Texts = std::map<Text, Text>;
using C = CHttpClientImp;
using Q = CHttpRequestImp;
using R = CHttpResponseImp;
using Conn = CHttpConnection;
using Mgr = CHttpConnectionMgr;
using Sia = CHttpSiaToken;
using Args = AsyncOperationArgs;

constexpr std::ptrdiff_t TASK = sizeof(ACE_Task_Base); // the pool's own fields come right after its base

std::vector<FieldRow> Fields() {
    return {
        Field<std::unique_ptr<CHttpClientInter>>("CHttpClient::m_pImp", &CHttpClient::m_pImp, 8),
        Field<std::unique_ptr<CHttpRequestInter>>("CHttpRequest::m_pImp", &CHttpRequest::m_pImp, 8),
        Field<std::unique_ptr<CHttpResponseInter>>("CHttpResponse::m_pImp", &CHttpResponse::m_pImp, 8),

        Field<bool>("CHttpClientImp::m_bSSL", &C::m_bSSL, 8),
        Field<Text>("CHttpClientImp::m_strDomain", &C::m_strDomain, 16),
        Field<std::int32_t>("CHttpClientImp::m_nPort", &C::m_nPort, 48),
        Field<Text>("CHttpClientImp::m_strScheme", &C::m_strScheme, 56),
        Field<std::uint32_t>("CHttpClientImp::m_nConnectTimeout", &C::m_nConnectTimeout, 88),
        Field<std::uint32_t>("CHttpClientImp::m_nRequestTimeout", &C::m_nRequestTimeout, 92),
        Field<CURL*>("CHttpClientImp::m_curl", &C::m_curl, 96),
        Field<bool>("CHttpClientImp::m_bSiaAccess", &C::m_bSiaAccess, 104),

        Field<HTTPOPERATIONTYPE>("CHttpRequestImp::m_eVerb", &Q::m_eVerb, 8),
        Field<Texts>("CHttpRequestImp::m_mapHeadEntry", &Q::m_mapHeadEntry, 16),
        Field<std::map<Text, std::vector<Text>>>("CHttpRequestImp::m_mapParams", &Q::m_mapParams, 64),
        Field<Text>("CHttpRequestImp::m_strUrlPath", &Q::m_strUrlPath, 112),
        Field<Text>("CHttpRequestImp::m_strContent", &Q::m_strContent, 144),
        Field<CurlEasyPtr>("CHttpRequestImp::m_pCurl", &Q::m_pCurl, 176),
        Field<Text>("CHttpRequestImp::m_strCookie", &Q::m_strCookie, 184),

        Field<Text>("CHttpResponseImp::m_strReserved", &R::m_strReserved, 8),
        Field<Text>("CHttpResponseImp::m_strBody", &R::m_strBody, 40),
        Field<Text>("CHttpResponseImp::m_strHead", &R::m_strHead, 72),
        Field<Texts>("CHttpResponseImp::m_mapHeadEntry", &R::m_mapHeadEntry, 104),
        Field<double>("CHttpResponseImp::m_dContentLen", &R::m_dContentLen, 152),
        Field<std::int32_t>("CHttpResponseImp::m_nStatusCode", &R::m_nStatusCode, 160),

        Field<Text>("CHttpConnection::m_strAddress", &Conn::m_strAddress, 8),
        Field<std::int32_t>("CHttpConnection::m_nPort", &Conn::m_nPort, 40),
        Field<CurlEasyPtr>("CHttpConnection::m_pCurl", &Conn::m_pCurl, 48),
        Field<CurlMultiPtr>("CHttpConnection::m_pCurlM", &Conn::m_pCurlM, 56),
        Field<std::int64_t>("CHttpConnection::m_nFreeTime", &Conn::m_nFreeTime, 64),
        Field<bool>("CHttpConnection::m_bIdle", &Conn::m_bIdle, 72),

        Field<ACE_RW_Thread_Mutex>("CHttpConnectionMgr::m_PoolLock", &Mgr::m_PoolLock, TASK),
        Field<Mgr::ConnMap>("CHttpConnectionMgr::m_mapHttpConn", &Mgr::m_mapHttpConn, TASK + 64),
        Field<Mgr::ConnMap>("CHttpConnectionMgr::m_mapHttpsConn", &Mgr::m_mapHttpsConn, TASK + 112),
        Field<std::uint32_t>("CHttpConnectionMgr::m_MaxConnNum", &Mgr::m_MaxConnNum, TASK + 160),
        Field<std::uint32_t>("CHttpConnectionMgr::m_MaxConnCategory", &Mgr::m_MaxConnCategory, TASK + 164),
        Field<std::int64_t>("CHttpConnectionMgr::m_releasedtime", &Mgr::m_releasedtime, TASK + 168),
        Field<ACE_Reactor*>("CHttpConnectionMgr::m_pReactor", &Mgr::m_pReactor, TASK + 176),

        Field<bool>("CHttpSiaToken::m_bServiceIdentity", &Sia::m_bServiceIdentity, 0),
        Field<Texts>("CHttpSiaToken::m_mapServiceUrl", &Sia::m_mapServiceUrl, 8),
        Field<std::map<Text, SiaToken>>("CHttpSiaToken::m_mapSiaToken", &Sia::m_mapSiaToken, 56),
        Field<Text>("CHttpSiaToken::m_strJwt", &Sia::m_strJwt, 104),
        Field<ACE_Mutex>("CHttpSiaToken::m_TokenMutex", &Sia::m_TokenMutex, 136),
        Field<Text>("SiaToken::token", &SiaToken::token, 0),
        Field<std::time_t>("SiaToken::expire_at", &SiaToken::expire_at, 32),

        Field<bool>("AsyncOperationArgs::bSSL", &Args::bSSL, 0),
        Field<const char*>("AsyncOperationArgs::pszCaInfo", &Args::pszCaInfo, 8),
        Field<CURL*>("AsyncOperationArgs::curl", &Args::curl, 16),
        Field<CURLM*>("AsyncOperationArgs::mcurl", &Args::mcurl, 24),
        Field<curl_slist*>("AsyncOperationArgs::ptrSList", &Args::ptrSList, 32),
        Field<CHttpConnection*>("AsyncOperationArgs::ptrHttpConn", &Args::ptrHttpConn, 40),
        Field<void (*)(const CHttpResponse&)>("AsyncOperationArgs::pfnCallback", &Args::pfnCallback, 48),
        Field<Text>("AsyncOperationArgs::strContent", &Args::strContent, 56),
        Field<std::shared_ptr<CHttpResponse>>("AsyncOperationArgs::response", &Args::response, 88),
    };
}

struct SizeRow {
    const char* name;
    std::size_t expected;
    std::size_t size;
};

const SizeRow SIZES[] = {
    {"CHttpClient", 16, sizeof(CHttpClient)}, // the virtual table's pointer and m_pImp
    {"CHttpRequest", 16, sizeof(CHttpRequest)},
    {"CHttpResponse", 16, sizeof(CHttpResponse)},
    {"CHttpClientInter", 8, sizeof(CHttpClientInter)}, // no fields
    {"CHttpRequestInter", 8, sizeof(CHttpRequestInter)},
    {"CHttpResponseInter", 8, sizeof(CHttpResponseInter)},
    {"CHttpClientImp", 112, sizeof(CHttpClientImp)},
    {"CHttpRequestImp", 216, sizeof(CHttpRequestImp)},
    {"CHttpResponseImp", 168, sizeof(CHttpResponseImp)},
    {"CHttpConnection", 80, sizeof(CHttpConnection)},
    {"CHttpsConnection", 80, sizeof(CHttpsConnection)}, // adds nothing
    {"CHttpConnectionMgr", TASK + 184, sizeof(CHttpConnectionMgr)},
    {"SiaToken", 40, sizeof(SiaToken)},
    {"AsyncOperationArgs", 104, sizeof(AsyncOperationArgs)},
    {"HTTPOPERATIONTYPE", 4, sizeof(HTTPOPERATIONTYPE)},
    {"HTTPTRANSFERPROFILE", 4, sizeof(HTTPTRANSFERPROFILE)},
    {"CurlEasyPtr", 8, sizeof(CurlEasyPtr)}, // as the handle itself
    {"CurlMultiPtr", 8, sizeof(CurlMultiPtr)},
    {"std::time_t", 8, sizeof(std::time_t)},
};

constexpr std::size_t NOT_VIRTUAL = SIZE_MAX;

struct SlotRow {
    const char* name;
    std::size_t expected;
    std::size_t slot;
};

/// @param slot where the operation is to stand in the virtual table.
template <class Function> SlotRow Operation(const char* name, Function operation, std::size_t slot) {
    struct {
        std::uintptr_t pointer; // 1 + the offset of the slot, or the function's address, which is even
        std::ptrdiff_t adjustment;
    } bits{};
    static_assert(sizeof operation == sizeof bits);
    std::memcpy(&bits, &operation, sizeof bits);
    return {name, slot, bits.pointer % 2 == 1 ? (bits.pointer - 1) / sizeof(void*) : NOT_VIRTUAL};
}

std::vector<SlotRow> Operations() {
    using Https = CHttpsConnection;
    return {
        // The first two slots are the destructor's.
        Operation("CHttpConnectionMgr::get_handle", &Mgr::get_handle, 2),
        Operation("CHttpConnectionMgr::set_handle", &Mgr::set_handle, 3),
        Operation<int (Mgr::*)() const>("CHttpConnectionMgr::priority() const", &Mgr::priority, 4),
        Operation<void (Mgr::*)(int)>("CHttpConnectionMgr::priority(int)", &Mgr::priority, 5),
        Operation("CHttpConnectionMgr::handle_input", &Mgr::handle_input, 6),
        Operation("CHttpConnectionMgr::handle_output", &Mgr::handle_output, 7),
        Operation("CHttpConnectionMgr::handle_exception", &Mgr::handle_exception, 8),
        Operation("CHttpConnectionMgr::handle_timeout", &Mgr::handle_timeout, 9),
        Operation("CHttpConnectionMgr::handle_exit", &Mgr::handle_exit, 10),
        Operation("CHttpConnectionMgr::handle_close", &Mgr::handle_close, 11),
        Operation("CHttpConnectionMgr::handle_signal", &Mgr::handle_signal, 12),
        Operation("CHttpConnectionMgr::resume_handler", &Mgr::resume_handler, 13),
        Operation("CHttpConnectionMgr::handle_qos", &Mgr::handle_qos, 14),
        Operation("CHttpConnectionMgr::handle_group_qos", &Mgr::handle_group_qos, 15),
        Operation<void (Mgr::*)(ACE_Reactor*)>("CHttpConnectionMgr::reactor(ACE_Reactor*)", &Mgr::reactor,
                                               16),
        Operation<ACE_Reactor* (Mgr::*)() const>("CHttpConnectionMgr::reactor() const", &Mgr::reactor, 17),
        Operation("CHttpConnectionMgr::reactor_timer_interface", &Mgr::reactor_timer_interface, 18),
        Operation("CHttpConnectionMgr::add_reference", &Mgr::add_reference, 19),
        Operation("CHttpConnectionMgr::remove_reference", &Mgr::remove_reference, 20),
        Operation("CHttpConnectionMgr::suspend", &Mgr::suspend, 21),
        Operation("CHttpConnectionMgr::resume", &Mgr::resume, 22),
        Operation("CHttpConnectionMgr::open", &Mgr::open, 23),
        Operation("CHttpConnectionMgr::close", &Mgr::close, 24),
        Operation("CHttpConnectionMgr::module_closed", &Mgr::module_closed, 25),
        Operation("CHttpConnectionMgr::put", &Mgr::put, 26),
        Operation("CHttpConnectionMgr::svc", &Mgr::svc, 27),
        Operation("CHttpConnectionMgr::activate", &Mgr::activate, 28),
        Operation("CHttpConnectionMgr::wait", &Mgr::wait, 29),
        // In the table of the second base.
        Operation("CHttpConnectionMgr::init", &Mgr::init, 2),
        Operation("CHttpConnectionMgr::fini", &Mgr::fini, 3),
        Operation("CHttpConnectionMgr::info", &Mgr::info, 4),
        // The pool's own.
        Operation("CHttpConnectionMgr::GetConn", &Mgr::GetConn, NOT_VIRTUAL),
        Operation("CHttpConnectionMgr::GetConnList", &Mgr::GetConnList, NOT_VIRTUAL),
        Operation("CHttpConnectionMgr::ReleaseConn", &Mgr::ReleaseConn, NOT_VIRTUAL),
        Operation("CHttpConnectionMgr::SetMaxConnPerAddr", &Mgr::SetMaxConnPerAddr, NOT_VIRTUAL),
        Operation("CHttpConnectionMgr::SetMaxConnAddr", &Mgr::SetMaxConnAddr, NOT_VIRTUAL),
        Operation("CHttpConnectionMgr::ResizeConnPool", &Mgr::ResizeConnPool, NOT_VIRTUAL),
        Operation("CHttpConnectionMgr::GetConnPoolSize", &Mgr::GetConnPoolSize, NOT_VIRTUAL),
        Operation("CHttpConnectionMgr::GetConnAddrSize", &Mgr::GetConnAddrSize, NOT_VIRTUAL),
        Operation("CHttpConnectionMgr::SetRlsTime", &Mgr::SetRlsTime, NOT_VIRTUAL),
        Operation("CHttpConnectionMgr::Initialize", &Mgr::Initialize, NOT_VIRTUAL),
        Operation("CHttpConnectionMgr::HandeConnPool", &Mgr::HandeConnPool, NOT_VIRTUAL),
        Operation("CHttpConnection::GetCurl", &Conn::GetCurl, NOT_VIRTUAL),
        Operation("CHttpConnection::GetCurlM", &Conn::GetCurlM, NOT_VIRTUAL),
        Operation("CHttpConnection::IsIdle", &Conn::IsIdle, NOT_VIRTUAL),
        Operation("CHttpConnection::SetIdle", &Conn::SetIdle, NOT_VIRTUAL),
        Operation("CHttpConnection::GetFreeTime", &Conn::GetFreeTime, NOT_VIRTUAL),
        Operation("CHttpConnection::SetFreeTime", &Conn::SetFreeTime, NOT_VIRTUAL),
        Operation("CHttpConnection::GetFreeTimeDiff", &Conn::GetFreeTimeDiff, NOT_VIRTUAL),
        Operation("CHttpsConnection::GetSslPath", &Https::GetSslPath, NOT_VIRTUAL),
        Operation("CHttpsConnection::GetCipherText", &Https::GetCipherText, NOT_VIRTUAL),
    };
}

static_assert(std::is_same_v<decltype(Mgr::m_HttpConnectionMgr_Mutex), ACE_Thread_Mutex>);
static_assert(std::is_same_v<decltype(Mgr::m_pInstance), Mgr*>);
static_assert(std::is_same_v<decltype(Sia::m_Mutex), ACE_Thread_Mutex>);

static_assert(std::has_virtual_destructor_v<CHttpClient> && std::has_virtual_destructor_v<CHttpRequest> &&
              std::has_virtual_destructor_v<CHttpResponse> && std::has_virtual_destructor_v<CHttpConnection>);
static_assert(std::has_virtual_destructor_v<CHttpClientInter> && std::is_abstract_v<CHttpClientInter> &&
              std::is_base_of_v<CHttpClientInter, CHttpClientImp>);
static_assert(std::is_base_of_v<CHttpConnection, CHttpsConnection>);
static_assert(std::is_convertible_v<Mgr*, ACE_Task_Base*>, "a public base");
static_assert(!std::is_polymorphic_v<CHttpSiaToken>);

} // namespace

TEST(Layout, KeepsEachFieldInItsPlace) {
    for (const FieldRow& row : Fields()) {
        EXPECT_EQ(row.offset, row.expected) << row.name;
    }
}

TEST(Layout, KeepsTheSizeOfEachClass) {
    for (const SizeRow& row : SIZES) {
        EXPECT_EQ(row.size, row.expected) << row.name;
    }
}

TEST(Layout, KeepsEachOperationOfThePoolInItsSlot) {
    for (const SlotRow& row : Operations()) {
        EXPECT_EQ(row.slot, row.expected) << row.name;
    }
}
