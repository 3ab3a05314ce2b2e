// SPDX-License-Identifier: Apache-2.0
// What the adapter promises beyond what the converter uses.
#ifndef HTTPCLIENT_GNU_ICONV
#include "message/IconvAdapter.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <string>

namespace {

constexpr std::size_t kFailed = static_cast<std::size_t>(-1);

bool g_usesUpInvalidInput = false; ///< Whether the C library takes all input for invalid, and uses it up.

} // namespace

// The linker puts this before the C library's iconv.
extern "C" {
std::size_t __real_iconv(void* cd, char** in, std::size_t* left, char** out, std::size_t* room);
std::size_t __wrap_iconv(void* cd, char** in, std::size_t* left, char** out, std::size_t* room);

std::size_t __wrap_iconv(void* cd, char** in, std::size_t* left, char** out, std::size_t* room) {
    if (!g_usesUpInvalidInput)
        return __real_iconv(cd, in, left, out, room);
    *in += *left;
    *left = 0;
    errno = EILSEQ;
    return kFailed;
}
}

namespace {

/// Converts into a small buffer with a descriptor that has no fallbacks. Descriptors are never closed: one
/// serves all tests.
struct Conversion {
    explicit Conversion(std::string text) : in(std::move(text)), left(in.size()) {
        static const iconv_t s_descriptor = libiconv_open("UTF-8", "GBK");
        char* source = in.data();
        char* target = buffer;
        errno = 0;
        result = libiconv(s_descriptor, &source, &left, &target, &room);
        error = errno;
        EXPECT_EQ(source, in.data() + in.size() - left);
        EXPECT_EQ(target, buffer + sizeof buffer - room);
    }
    std::string in;
    char buffer[8] = {};
    std::size_t left;
    std::size_t room = sizeof buffer;
    std::size_t result;
    int error;
};

TEST(IconvAdapter, StopsAtAnUndecodableByteThatNothingReplaces) {
    const Conversion conversion("ab\xFFz");
    EXPECT_EQ(conversion.result, kFailed);
    EXPECT_EQ(conversion.error, EILSEQ);
    EXPECT_EQ(conversion.left, 2U);
    EXPECT_EQ(conversion.room, 6U);
}

TEST(IconvAdapter, EndsWhenAnInvalidSequenceIsReportedWithNoInputLeft) {
    g_usesUpInvalidInput = true;
    const Conversion conversion("ab\xC4\xE3");
    g_usesUpInvalidInput = false;
    EXPECT_EQ(conversion.result, 0U);
    EXPECT_EQ(conversion.left, 0U);
    EXPECT_EQ(std::string(conversion.buffer, sizeof conversion.buffer - conversion.room), "ab");
}

TEST(IconvAdapter, StopsBeforeAnIncompleteCharacter) {
    const Conversion conversion("ab\xC4");
    EXPECT_EQ(conversion.result, kFailed);
    EXPECT_EQ(conversion.error, EINVAL);
    EXPECT_EQ(conversion.left, 1U);
    EXPECT_EQ(conversion.room, 6U);
}

TEST(IconvAdapter, StopsBeforeACharacterThatDoesNotFit) {
    const Conversion conversion("abcdef\xC4\xE3z");
    EXPECT_EQ(conversion.result, kFailed);
    EXPECT_EQ(conversion.error, E2BIG);
    EXPECT_EQ(conversion.left, 3U);
    EXPECT_EQ(conversion.room, 2U);
}

TEST(IconvAdapter, FillsTheOutputToItsLastByte) {
    const Conversion conversion("abcde\xC4\xE3");
    EXPECT_EQ(conversion.result, 0U);
    EXPECT_EQ(conversion.left, 0U);
    EXPECT_EQ(conversion.room, 0U);
    EXPECT_EQ(std::string(conversion.buffer, sizeof conversion.buffer), "abcde\xE4\xBD\xA0");
}

TEST(IconvAdapter, RefusesRequestsThatItDoesNotHave) {
    static const iconv_t s_descriptor = libiconv_open("ASCII", "GBK");
    EXPECT_EQ(libiconvctl(s_descriptor, ICONV_SET_FALLBACKS, nullptr), 0);
    errno = 0;
    EXPECT_EQ(libiconvctl(s_descriptor, 0, nullptr), -1);
    EXPECT_EQ(errno, EINVAL);
}

TEST(IconvAdapter, RefusesNamesWithTheReason) {
    errno = 0;
    EXPECT_EQ(libiconv_open("UTF-8", "no such set"), reinterpret_cast<iconv_t>(-1)); // NOLINT(*-int-to-ptr)
    EXPECT_EQ(errno, EINVAL);
}

} // namespace
#endif
