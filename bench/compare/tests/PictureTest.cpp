// SPDX-License-Identifier: Apache-2.0
// Whether an XML parser takes the picture.
#include <Poco/AutoPtr.h>
#include <Poco/DOM/DOMParser.h>
#include <Poco/DOM/Document.h>
#include <Poco/DOM/NodeList.h>
#include <gtest/gtest.h>

#include "Results.h"

namespace {

size_t Count(Poco::XML::Document& document, const char* element) {
    Poco::AutoPtr<Poco::XML::NodeList> found = document.getElementsByTagName(element);
    return found->length();
}

TEST(Picture, IsWellFormedAndHasABarOfEachPeer) {
    const std::vector<WorkResults> works{
        {"get",
         "GET",
         {{"floor", {100, 1, 1, 0}, {1, 1, 1, 0}}, {"libhttpclient", {90, 1, 1, 3}, {0.9, 1, 1, 0}}}},
        {"post", "POST", {{"floor", {100, 1, 1, 0}, {1, 1, 1, 0}}, {"dead", {0, 0, 0, 7}, {}}}}};
    const std::string picture = AsSvg(works);
    Poco::XML::DOMParser parser;
    Poco::AutoPtr<Poco::XML::Document> document = parser.parseString(picture);
    EXPECT_EQ(document->documentElement()->nodeName(), "svg");
    EXPECT_EQ(Count(*document, "rect"), 1U + 4U); // the ground, and the bars
    EXPECT_EQ(Count(*document, "text"), 1U + 2U + 2U * 4U);
    EXPECT_NE(picture.find("0.90 (3 errors)"), std::string::npos);
    EXPECT_NE(picture.find("0.00 (7 errors)"), std::string::npos);
}

} // namespace
