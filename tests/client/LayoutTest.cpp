// SPDX-License-Identifier: Apache-2.0
// The order of fields, which hosts and libraries built apart rely on.
#include <cstdint>
#include <string>
#include <type_traits>
#include <vector>

#include <httpclient/HttpClient.h>

#include "ClientFixture.h"
#include "client/HttpClientImp.h"

namespace {

template <class Field> std::ptrdiff_t Offset(const CHttpClientImp& object, const Field& field) {
    return reinterpret_cast<const char*>(&field) - reinterpret_cast<const char*>(&object);
}

class ClientLayout : public ClientTest {};

} // namespace

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
