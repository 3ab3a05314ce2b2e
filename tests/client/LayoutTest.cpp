// SPDX-License-Identifier: Apache-2.0
// The order of virtual operations and of fields, which hosts and libraries built apart rely on.
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include <cxxabi.h>
#include <dlfcn.h>

#include <httpclient/HttpClient.h>

#include "ClientFixture.h"
#include "client/HttpClientImp.h"

namespace {

constexpr std::size_t SLOTS = 18; // the destructor has two

std::string Demangled(const char* symbol) {
    const std::unique_ptr<char, void (*)(void*)> name(abi::__cxa_demangle(symbol, nullptr, nullptr, nullptr),
                                                      &std::free);
    std::string text = name ? name.get() : symbol;
    text = Replaced(text, "std::__cxx11::basic_string<char, std::char_traits<char>, std::allocator<char> >",
                    "string");
    return Replaced(Replaced(text, "CHttpClientImp::", ""), "[abi:cxx11]", "");
}

/// The functions that an object's virtual table holds, in order.
std::vector<std::string> VirtualTable(const CHttpClientInter& object) {
    void* const* table = *reinterpret_cast<void* const* const*>(&object);
    std::vector<std::string> names;
    for (std::size_t slot = 0; slot < SLOTS; ++slot) {
        Dl_info info{};
        if (dladdr(table[slot], &info) == 0 || info.dli_sname == nullptr) {
            names.emplace_back("unknown");
            continue;
        }
        names.push_back(Demangled(info.dli_sname));
    }
    return names;
}

template <class Field> std::ptrdiff_t Offset(const CHttpClientImp& object, const Field& field) {
    return reinterpret_cast<const char*>(&field) - reinterpret_cast<const char*>(&object);
}

class ClientLayout : public ClientTest {};

} // namespace

TEST_F(ClientLayout, KeepsTheOrderOfTheVirtualTable) {
    const CHttpClientImp client;
    EXPECT_EQ(VirtualTable(client),
              (std::vector<std::string>{
                  "~CHttpClientImp()",
                  "~CHttpClientImp()",
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
              }));
}

TEST_F(ClientLayout, MakesTheInterfaceAbstractWithAVirtualDestructor) {
    EXPECT_TRUE(std::is_abstract_v<CHttpClientInter>);
    EXPECT_TRUE(std::has_virtual_destructor_v<CHttpClientInter>);
    EXPECT_TRUE((std::is_base_of_v<CHttpClientInter, CHttpClientImp>));
    EXPECT_EQ(sizeof(CHttpClientInter), sizeof(void*)); // it has no fields
}

TEST_F(ClientLayout, KeepsTheOrderOfTheImplementationsFields) {
    const CHttpClientImp client;
    const std::vector<std::ptrdiff_t> offsets{
        Offset(client, client.m_bSSL),
        Offset(client, client.m_strDomain),
        Offset(client, client.m_nPort),
        Offset(client, client.m_strScheme),
        Offset(client, client.m_nConnectTimeout),
        Offset(client, client.m_nRequestTimeout),
        Offset(client, client.m_curl),
        Offset(client, client.m_bSiaAccess),
    };
    EXPECT_EQ(offsets, (std::vector<std::ptrdiff_t>{8, 16, 48, 56, 88, 92, 96, 104}));
    EXPECT_EQ(sizeof(CHttpClientImp), 112U);
}

TEST_F(ClientLayout, KeepsTheTypesOfTheImplementationsFields) {
    EXPECT_TRUE((std::is_same_v<decltype(CHttpClientImp::m_bSSL), bool>));
    EXPECT_TRUE((std::is_same_v<decltype(CHttpClientImp::m_strDomain), std::string>));
    EXPECT_TRUE((std::is_same_v<decltype(CHttpClientImp::m_nPort), std::int32_t>));
    EXPECT_TRUE((std::is_same_v<decltype(CHttpClientImp::m_strScheme), std::string>));
    EXPECT_TRUE((std::is_same_v<decltype(CHttpClientImp::m_nConnectTimeout), std::uint32_t>));
    EXPECT_TRUE((std::is_same_v<decltype(CHttpClientImp::m_nRequestTimeout), std::uint32_t>));
    EXPECT_TRUE((std::is_same_v<decltype(CHttpClientImp::m_curl), CURL*>));
    EXPECT_TRUE((std::is_same_v<decltype(CHttpClientImp::m_bSiaAccess), bool>));
}

TEST_F(ClientLayout, GivesTheFacadeOnePointerAndAVirtualDestructor) {
    EXPECT_EQ(sizeof(CHttpClient), 2 * sizeof(void*));
    EXPECT_TRUE(std::has_virtual_destructor_v<CHttpClient>);
    const CHttpClient client;
    void* const* words = reinterpret_cast<void* const*>(&client);
    EXPECT_EQ(words[1], static_cast<void*>(client.m_pImp.get()));
}
