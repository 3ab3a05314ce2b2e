// SPDX-License-Identifier: Apache-2.0
#include <httpclient/HttpClient.h>
#include <httpclient/HttpRequest.h>

#include "tour/Stop.h"
#include "tour/Tour.h"

namespace tour {
namespace {

constexpr const char* BEIJING_GBK = "\xb1\xb1\xbe\xa9";
constexpr const char* BEIJING_UTF8 = "\xe5\x8c\x97\xe4\xba\xac";
constexpr const char* BEIJING_IN_URL = "GET /echo?city=%E5%8C%97%E4%BA%AC HTTP/1.1";

void ShowCharacterSets(Tour& tour) {
    const auto client = tour.NewClient();

    const auto gbk = NewRequest(HTTPOPERATION_GET, "/echo");
    gbk->addParam("city", BEIJING_GBK);
    tour.ExpectText("without an Accept-Charset a value is taken as GBK, and goes out as UTF-8",
                    BEIJING_IN_URL, FirstLine(tour.Send(*client, *gbk).sent));

    const auto utf8 = NewRequest(HTTPOPERATION_GET, "/echo");
    utf8->setAcceptCharset("UTF-8");
    utf8->addParam("city", BEIJING_UTF8);
    tour.ExpectText("a value in the character set that Accept-Charset names arrives the same", BEIJING_IN_URL,
                    FirstLine(tour.Send(*client, *utf8).sent));

    const auto broken = NewRequest(HTTPOPERATION_GET, "/echo");
    broken->addParam("city", std::string("a\xff") + "b");
    tour.ExpectText("a byte that is no GBK becomes a question mark", "GET /echo?city=a%3Fb HTTP/1.1",
                    FirstLine(tour.Send(*client, *broken).sent));

    std::string text;
    tour.ExpectNumber("a text can be converted by hand, and the number of replaced characters is told", 0,
                      utf8->codeSetConvert("UTF-8", "GBK", BEIJING_UTF8, text));
    tour.ExpectText("to the same bytes", BEIJING_GBK, text);
}

const Stop CHARACTER_SETS(40, "A value in GBK arrives as UTF-8", ShowCharacterSets);

} // namespace
} // namespace tour
