// SPDX-License-Identifier: Apache-2.0
#include "http1/ResponseHead.h"

#include <gtest/gtest.h>

#include "http1/ResponseReader.h"

namespace httpclient::http1 {
namespace {

/// Fills a head from its text.
void Fill(ResponseHead& head, const std::string& text) {
    ResponseReader reader(Method::Get, {}, true, head);
    ASSERT_EQ(reader.Feed(text.data(), text.size()).event, ResponseReader::Event::Head);
}

using Values = std::vector<std::string_view>;

} // namespace

TEST(ResponseHead, IsEmptyAtFirst) {
    const ResponseHead head;
    EXPECT_EQ(head.status, 0);
    EXPECT_EQ(head.size(), 0U);
    EXPECT_EQ(head.find("A"), std::nullopt);
    EXPECT_EQ(head.findAll("A"), Values());
    EXPECT_EQ(head.text(), "");
}

TEST(ResponseHead, FindsTheFirstOfANameInAnyLetters) {
    ResponseHead head;
    Fill(head, "HTTP/1.1 204 No\r\nA: 1\r\nContent-Type: x\r\na: 2\r\ncontent-type: y\r\nAB: 3\r\n\r\n");
    EXPECT_EQ(head.find("CONTENT-type"), "x");
    EXPECT_EQ(head.find("a"), "1");
    EXPECT_EQ(head.find("ab"), "3");
    EXPECT_EQ(head.find("b"), std::nullopt);
    EXPECT_EQ(head.find(""), std::nullopt);
    EXPECT_EQ(head.findAll("A"), (Values{"1", "2"}));
    EXPECT_EQ(head.findAll("Content-Type"), (Values{"x", "y"}));
    EXPECT_EQ(head.findAll("none"), Values());
}

TEST(ResponseHead, DoesNotTakeOtherBytesForLetters) {
    ResponseHead head;
    Fill(
        head,
        "HTTP/1.1 204 No\r\nA`: 1\r\nA^: 2\r\n\r\n"); // bytes that differ by the bit of letters' case, or by one
    EXPECT_EQ(head.find("a`"), "1");
    EXPECT_EQ(head.find("a@"), std::nullopt);
    EXPECT_EQ(head.find("a~"), std::nullopt);
    EXPECT_EQ(head.find("a^"), "2");
}

TEST(ResponseHead, KeepsMoreFieldsThanItHasPlacesFor) {
    for (const int count : {23, 24, 25, 26, 200}) {
        std::string text = "HTTP/1.1 204 No\r\n";
        for (int i = 0; i < count; ++i) {
            text += "N" + std::to_string(i) + ": v" + std::to_string(i) + "\r\n";
        }
        ResponseHead head;
        Fill(head, text + "\r\n");
        ASSERT_EQ(head.size(), static_cast<std::size_t>(count));
        for (int i = 0; i < count; ++i) {
            EXPECT_EQ(head.at(static_cast<std::size_t>(i)).first, "N" + std::to_string(i));
            EXPECT_EQ(head.find("n" + std::to_string(i)), "v" + std::to_string(i));
        }
    }
}

TEST(ResponseHead, KeepsTheTextAsReceivedButForFolds) {
    ResponseHead head;
    Fill(head, "HTTP/1.1 204 No  Content\r\nA:  b \r\nC: d\r\n\te\r\n\r\n");
    EXPECT_EQ(head.text(), "HTTP/1.1 204 No  Content\r\nA:  b \r\nC: d e\r\n\r\n");
}

TEST(ResponseHead, DoesNotKeepInterimAnswers) {
    ResponseHead head;
    Fill(head, "HTTP/1.1 103 Hints\r\nLink: a\r\n\r\nHTTP/1.1 204 No\r\n\r\n");
    EXPECT_EQ(head.size(), 0U);
    EXPECT_EQ(head.text(), "HTTP/1.1 204 No\r\n\r\n");
}

TEST(ResponseHead, MayBeMovedWithItsFields) {
    ResponseHead head;
    Fill(head, "HTTP/1.1 204 \r\nA:b\r\n\r\n");
    ResponseHead moved = std::move(head);
    EXPECT_EQ(moved.status, 204);
    EXPECT_EQ(moved.find("a"), "b");
    head = std::move(moved);
    EXPECT_EQ(head.find("a"), "b");
}

TEST(ResponseHead, IsEmptyAfterClear) {
    ResponseHead head;
    Fill(head, "HTTP/1.1 204 No\r\nA: b\r\n\r\n");
    head.Clear();
    EXPECT_EQ(head.status, 0);
    EXPECT_EQ(head.size(), 0U);
    EXPECT_EQ(head.find("A"), std::nullopt);
    EXPECT_EQ(head.text(), "");
}

} // namespace httpclient::http1
