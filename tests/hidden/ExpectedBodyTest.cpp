// SPDX-License-Identifier: Apache-2.0
#include "client/ExpectedBody.h"

#include <string>
#include <thread>

#include <gtest/gtest.h>

namespace {

constexpr std::size_t MEBIBYTE = 1024 * 1024;

std::size_t SizeBy(const std::string& head) {
    const ExpectedBody expected(head);
    return ExpectedBody::Size();
}

std::size_t SizeByLength(const std::string& length) {
    return SizeBy("HTTP/1.1 200 OK\r\nContent-Length: " + length + "\r\n");
}

} // namespace

TEST(ExpectedBody, IsOfNoSizeOutsideATransfer) {
    EXPECT_EQ(ExpectedBody::Size(), 0U);
}

TEST(ExpectedBody, IsOfTheAnnouncedSize) {
    EXPECT_EQ(SizeByLength("12345"), 12345U);
    EXPECT_EQ(SizeBy("HTTP/1.1 200 OK\r\nA: b\r\ncOnTeNt-lEnGtH:7\r\nC: d\r\n\r\n"), 7U);
}

TEST(ExpectedBody, IsOfNoSizeWithoutALineThatAnnouncesOne) {
    EXPECT_EQ(SizeBy(""), 0U);
    EXPECT_EQ(SizeBy("\n"), 0U);
    EXPECT_EQ(SizeBy("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n"), 0U);
    EXPECT_EQ(SizeBy("HTTP/1.1 200 OK\r\nX-Content-Length: 7\r\n"), 0U) << "another name";
    EXPECT_EQ(SizeBy("HTTP/1.1 200 OK\r\nContent-Length : 7\r\n"), 0U) << "no name of a header";
    EXPECT_EQ(SizeBy("HTTP/1.1 200 OK\r\nContent-Length"), 0U) << "a line that is cut off";
}

TEST(ExpectedBody, IsOfNoSizeWhenTheLengthIsNoNumber) {
    for (const char* length : {"", "x", "-1", "99999999999999999999999999"}) {
        EXPECT_EQ(SizeByLength(length), 0U) << length;
    }
}

TEST(ExpectedBody, IsBelievedUpTo64MiB) {
    EXPECT_EQ(SizeByLength(std::to_string(64 * MEBIBYTE - 1)), 64 * MEBIBYTE - 1);
    EXPECT_EQ(SizeByLength(std::to_string(64 * MEBIBYTE)), 64 * MEBIBYTE);
    EXPECT_EQ(SizeByLength(std::to_string(64 * MEBIBYTE + 1)), 0U);
}

TEST(ExpectedBody, BelongsToTheLastOfTheResponses) {
    EXPECT_EQ(SizeBy("HTTP/1.1 302 Found\r\nContent-Length: 1\r\n\r\n"
                     "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\n"),
              2U);
}

TEST(ExpectedBody, SeesTheLinesThatComeWhileItLives) {
    std::string head = "HTTP/1.1 200 OK\r\n";
    const ExpectedBody expected(head);
    EXPECT_EQ(ExpectedBody::Size(), 0U);
    head += "Content-Length: 9\r\n";
    EXPECT_EQ(ExpectedBody::Size(), 9U);
}

TEST(ExpectedBody, OfATransferWithinATransferStandsBeforeTheOuterOne) {
    const std::string outer = "\r\nContent-Length: 1\r\n";
    const std::string inner = "\r\nContent-Length: 2\r\n";
    {
        const ExpectedBody first(outer);
        {
            const ExpectedBody second(inner);
            EXPECT_EQ(ExpectedBody::Size(), 2U);
        }
        EXPECT_EQ(ExpectedBody::Size(), 1U);
    }
    EXPECT_EQ(ExpectedBody::Size(), 0U);
}

TEST(ExpectedBody, IsThatOfItsThread) {
    const std::string head = "\r\nContent-Length: 1\r\n";
    const ExpectedBody expected(head);
    std::size_t elsewhere = 1;
    std::thread([&] { elsewhere = ExpectedBody::Size(); }).join();
    EXPECT_EQ(elsewhere, 0U);
    EXPECT_EQ(ExpectedBody::Size(), 1U);
}
