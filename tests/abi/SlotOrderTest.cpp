// SPDX-License-Identifier: Apache-2.0
// Walks the virtual tables that lie in libhttpclient.so. No header of the library is included: a program that
// was built long ago knows a virtual operation by its place alone.
#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include <cxxabi.h>
#include <dlfcn.h>
#include <link.h>

#include <gtest/gtest.h>

namespace {

using Names = std::vector<std::string>;

constexpr std::size_t ENTRIES_BEFORE = 2; // the offset to the top and the type information

std::string Replaced(std::string text, const std::string& what, const std::string& by) {
    for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + by.size())) {
        text.replace(at, what.size(), by);
    }
    return text;
}

/// "addParam(string const&, string const&)", say, without the name of the owner; "pure" where an interface leaves the
/// slot open.
std::string OperationName(const void* function, const std::string& owner) {
    Dl_info info{};
    if (dladdr(function, &info) == 0) {
        return "the object begins at " + std::to_string(reinterpret_cast<std::ptrdiff_t>(function));
    }
    if (info.dli_sname == nullptr) {
        return "unknown";
    }
    const std::unique_ptr<char, void (*)(void*)> demangled(
        abi::__cxa_demangle(info.dli_sname, nullptr, nullptr, nullptr), &std::free);
    std::string name = demangled ? demangled.get() : info.dli_sname;
    if (name == "__cxa_pure_virtual") {
        return "pure";
    }
    name = Replaced(name, "std::__cxx11::basic_string<char, std::char_traits<char>, std::allocator<char> >",
                    "string");
    name = Replaced(name, "std::vector<string, std::allocator<string > >", "vector<string>");
    name = Replaced(name, "[abi:cxx11]", "");
    return owner.empty() ? name : Replaced(name, owner + "::", "");
}

/// The operations of a class, in the order of its virtual table, without the name of this owner.
Names VirtualTable(const std::string& className, const std::string& owner) {
    const std::string symbol = "_ZTV" + std::to_string(className.size()) + className;
    auto* const table = static_cast<void**>(dlsym(RTLD_DEFAULT, symbol.c_str()));
    Dl_info info{};
    const ElfW(Sym)* entry = nullptr;
    if (table == nullptr || dladdr1(table, &info, reinterpret_cast<void**>(const_cast<ElfW(Sym)**>(&entry)),
                                    RTLD_DL_SYMENT) == 0) {
        return {"no " + symbol};
    }
    Names names;
    for (std::size_t i = ENTRIES_BEFORE; i < entry->st_size / sizeof(void*); ++i) {
        names.push_back(OperationName(table[i], owner));
    }
    return names;
}

Names VirtualTable(const std::string& className) {
    return VirtualTable(className, className);
}

/// The slots of a class: both destructors, then these operations.
Names WithDestructors(const std::string& className, const Names& operations) {
    Names slots(2, "~" + className + "()");
    slots.insert(slots.end(), operations.begin(), operations.end());
    return slots;
}

/// What follows the destructors. Compilers may leave the places of an abstract class's destructors empty.
Names OperationsOf(const std::string& className) {
    Names slots = VirtualTable(className);
    slots.erase(slots.begin(),
                slots.begin() + static_cast<std::ptrdiff_t>(std::min<std::size_t>(2, slots.size())));
    return slots;
}

const Names CLIENT_OPERATIONS{
    "setDomain(string const&)",
    "getDomain()",
    "setSSLSupport()",
    "setSSLCipherList(string const&)",
    "resizeConnPool(unsigned int, unsigned int)",
    "getConnPoolSize()",
    "getConnAddrSize()",
    "setPort(int const&)",
    "getPort()",
    "EnableSiaAccess()",
    "setScheme(string const&)",
    "getScheme()",
    "setConnectTimeout(unsigned int)",
    "setRequestTimeout(unsigned int)",
    "synSendRequest(CHttpRequest const&, CHttpResponse&, bool)",
    "asynSendRequest(CHttpRequest const&, void (*)(CHttpResponse const&), bool)",
};

const Names REQUEST_OPERATIONS{
    "addRequestHeadEntry(string const&, string const&)",
    "removeRequestHeadEntry(string const&)",
    "removeRequestHead()",
    "getRequestHeadEntry(string const&) const",
    "getRequestHeadEntry(unsigned int) const",
    "getRequestHeadEntryNums() const",
    "getRequestHead() const",
    "addParam(string const&, string const&)",
    "addParam(string const&, vector<string>)",
    "removeParam(string const&)",
    "RemoveAllParams()",
    "getParam(string const&) const",
    "getParam(unsigned int) const",
    "getParamsAppendInURL() const",
    "getParamNums() const",
    "getRequestParams() const",
    "setCustomCookieParam(string const&)",
    "getCustomCookieParam() const",
    "setContentType(string const&)",
    "getContentType() const",
    "setContentEncoding(string const&)",
    "getContentEncoding() const",
    "setContentLanguage(string const&)",
    "getContentLanguage() const",
    "setContent(string const&)",
    "getContent() const",
    "setAcceptCharset(string const&)",
    "getAcceptCharset() const",
    "setAcceptLanguage(string const&)",
    "getAcceptLanguage() const",
    "setAcceptEncoding(string const&)",
    "getAcceptEncoding() const",
    "setAccept(string const&)",
    "getAccept() const",
    "setVerb(HTTPOPERATIONTYPE)",
    "getVerb() const",
    "setUrlPath(string const&)",
    "getUrlPath() const",
    "encodeParam(string const&) const",
    "decodeParam(string const&)",
    "codeSetConvert(string const&, string const&, string const&, string&) const",
    "setForwardFilter(string const&)",
};

const Names RESPONSE_OPERATIONS{
    "setResponseHead(string const&)",
    "addResponseHeadEntry(string const&, string const&)",
    "getResponseHeadEntry(string const&) const",
    "getResponseHeadEntry(unsigned int) const",
    "getResponseHead() const",
    "getResponseHeadNums() const",
    "parseHead()",
    "getResponseBody() const",
    "setResponseBody(string const&)",
    "getContentType() const",
    "setContentType(string const&)",
    "setContentLen(double)",
    "getContentLen() const",
    "getCharset() const",
    "getStatusCode() const",
    "setStatusCode(int)",
};

} // namespace

TEST(SlotOrder, OfClientsIsKept) {
    EXPECT_EQ(VirtualTable("CHttpClientImp"), WithDestructors("CHttpClientImp", CLIENT_OPERATIONS));
}

TEST(SlotOrder, OfRequestsIsKept) {
    EXPECT_EQ(VirtualTable("CHttpRequestImp"), WithDestructors("CHttpRequestImp", REQUEST_OPERATIONS));
}

TEST(SlotOrder, OfResponsesIsKept) {
    EXPECT_EQ(VirtualTable("CHttpResponseImp"), WithDestructors("CHttpResponseImp", RESPONSE_OPERATIONS));
}

TEST(SlotOrder, OfInterfacesHasAsManyPlacesAllOfThemPure) {
    EXPECT_EQ(OperationsOf("CHttpClientInter"), Names(CLIENT_OPERATIONS.size(), "pure"));
    EXPECT_EQ(OperationsOf("CHttpResponseInter"), Names(RESPONSE_OPERATIONS.size(), "pure"));
    Names request(REQUEST_OPERATIONS.size(), "pure");
    request[16] =
        "setCustomCookieParam(string const&)"; // so that an implementation without cookies still answers
    request[17] = "getCustomCookieParam() const";
    EXPECT_EQ(OperationsOf("CHttpRequestInter"), request);
}

TEST(SlotOrder, OfFacadesIsTheDestructorsAlone) {
    for (const char* const facade : {"CHttpClient", "CHttpRequest", "CHttpResponse"}) {
        EXPECT_EQ(VirtualTable(facade), WithDestructors(facade, {}));
    }
}

TEST(SlotOrder, OfConnectionsIsTheDestructorsAlone) {
    for (const char* const connection : {"CHttpConnection", "CHttpsConnection"}) {
        EXPECT_EQ(VirtualTable(connection), WithDestructors(connection, {}));
    }
}

// All other places are those of ACE's task and lead to ACE's own operations. Behind slot 29 begins the table of the
// second base, with the way back to the object's beginning, which is ACE's, too.
TEST(SlotOrder, OfThePoolOverridesDestructorHandleTimeoutAndSvcOfTheTask) {
    const Names task = VirtualTable("ACE_Task_Base", "");
    const Names pool = VirtualTable("CHttpConnectionMgr", "");
    ASSERT_EQ(pool.size(), 37U);
    ASSERT_EQ(task.size(), pool.size());
    Names overridden;
    for (std::size_t slot = 0; slot < pool.size(); ++slot) {
        if (pool[slot] != task[slot]) {
            overridden.push_back(std::to_string(slot) + " " + pool[slot]);
        }
    }
    EXPECT_EQ(overridden, (Names{"0 CHttpConnectionMgr::~CHttpConnectionMgr()",
                                 "1 CHttpConnectionMgr::~CHttpConnectionMgr()",
                                 "9 CHttpConnectionMgr::handle_timeout(ACE_Time_Value const&, void const*)",
                                 "27 CHttpConnectionMgr::svc()", "31 typeinfo for CHttpConnectionMgr",
                                 "32 non-virtual thunk to CHttpConnectionMgr::~CHttpConnectionMgr()",
                                 "33 non-virtual thunk to CHttpConnectionMgr::~CHttpConnectionMgr()"}));
}
