// SPDX-License-Identifier: Apache-2.0
// The absolute URL of a request.
#include <climits>
#include <ostream>
#include <string>

#include "ClientFixture.h"
#include "client/HttpClientImp.h"

namespace {

struct UrlRow {
    const char* name;
    const char* scheme;
    const char* domain;
    int port;
    const char* path;
    const char* url;
};

class ClientUrl : public ClientTest {};
class ClientUrlTable : public ClientTest, public ::testing::WithParamInterface<UrlRow> {};

void PrintTo(const UrlRow& row, std::ostream* out) {
    *out << row.name;
}

std::string UrlName(const ::testing::TestParamInfo<UrlRow>& row) {
    return row.param.name;
}

} // namespace

TEST_P(ClientUrlTable, IsSchemeHostPortAndPathAsTheyAre) {
    CHttpClientImp client;
    client.setScheme(GetParam().scheme);
    client.setDomain(GetParam().domain);
    client.setPort(GetParam().port);
    const auto request = MakeRequest(HTTPOPERATION_GET, GetParam().path);
    const CHttpClientImp& constant = client;
    EXPECT_EQ(constant.GetUrl(*request), GetParam().url);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, ClientUrlTable,
    ::testing::Values(UrlRow{"BareIpv6", "http", "::1", 8080, "/a", "http://[::1]:8080/a"},
                      UrlRow{"LongBareIpv6", "http", "fe80::1%eth0", 1, "/", "http://[fe80::1%eth0]:1/"},
                      UrlRow{"BracketedIpv6", "http", "[::1]", 8080, "/a", "http://[::1]:8080/a"},
                      UrlRow{"BracketedIpv6WithPort", "http", "[::1]:99", 8080, "/a",
                             "http://[::1]:99:8080/a"},
                      UrlRow{"OpeningBracketAnywhere", "http", "a:b[", 1, "/", "http://a:b[:1/"},
                      UrlRow{"ClosingBracketAlone", "http", "::1]", 1, "/", "http://[::1]]:1/"},
                      UrlRow{"HostWithPort", "http", "host:99", 80, "/", "http://[host:99]:80/"},
                      UrlRow{"Ipv4", "http", "10.0.0.5", 80, "/v1/x", "http://10.0.0.5:80/v1/x"},
                      UrlRow{"PathWithoutSlash", "http", "10.0.0.5", 80, "v1/x", "http://10.0.0.5:80v1/x"},
                      UrlRow{"EmptyPath", "http", "host", 80, "", "http://host:80"},
                      UrlRow{"DefaultPortOfHttps", "https", "host", 443, "/", "https://host:443/"},
                      UrlRow{"SchemeAndTlsChoiceNeedNotAgree", "https", "host", 80, "/", "https://host:80/"},
                      UrlRow{"EmptyScheme", "", "host", 80, "/", "://host:80/"},
                      UrlRow{"OddScheme", "HT tp", "host", 80, "/", "HT tp://host:80/"},
                      UrlRow{"PortZero", "http", "host", 0, "/", "http://host:0/"},
                      UrlRow{"NegativePort", "http", "host", -1, "/", "http://host:-1/"},
                      UrlRow{"HighestPort", "http", "host", 65535, "/", "http://host:65535/"},
                      UrlRow{"PortBeyondTheHighest", "http", "host", 65536, "/", "http://host:65536/"},
                      UrlRow{"LargestPort", "http", "host", INT_MAX, "/", "http://host:2147483647/"},
                      UrlRow{"VerySmallPort", "http", "host", INT_MIN + 1, "/", "http://host:-2147483647/"},
                      UrlRow{"NothingIsEscaped", "http", "host", 80, "/a b?c=%zz&d=\"#e\r\n\xc3\xa4",
                             "http://host:80/a b?c=%zz&d=\"#e\r\n\xc3\xa4"}),
    UrlName);

TEST_F(ClientUrl, OfADefaultClientNamesPort80) {
    const CHttpClientImp client;
    EXPECT_EQ(client.GetUrl(*MakeRequest(HTTPOPERATION_GET, "/path")), "http://127.0.0.1:80/path");
}

TEST_F(ClientUrl, HasNoParameters) {
    const CHttpClientImp client;
    const auto request = MakeRequest(HTTPOPERATION_GET, "/path");
    request->addParam("name", "value");
    EXPECT_EQ(client.GetUrl(*request), "http://127.0.0.1:80/path");
}
