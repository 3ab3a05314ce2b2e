// SPDX-License-Identifier: Apache-2.0
// What the adapter promises beyond what the converter uses.
#ifndef HTTPCLIENT_GNU_ICONV
#include <cerrno>
#include <map>
#include <string>

#include <gtest/gtest.h>

#include "message/charset/IconvAdapter.h"

namespace {

constexpr std::size_t FAILED = static_cast<std::size_t>(-1);

bool g_usesUpInvalidInput = false; ///< Whether the C library takes all input for invalid, and uses it up.

} // namespace

// The linker puts this before the C library's iconv.
// NOLINTBEGIN(bugprone-reserved-identifier): the linker gives the names
extern "C" {
std::size_t __real_iconv(void* cd, char** in, std::size_t* left, char** out, std::size_t* room);
std::size_t __wrap_iconv(void* cd, char** in, std::size_t* left, char** out, std::size_t* room);

std::size_t __wrap_iconv(void* cd, char** in, std::size_t* left, char** out, std::size_t* room) {
    if (!g_usesUpInvalidInput) {
        return __real_iconv(cd, in, left, out, room);
    }
    *in += *left;
    *left = 0;
    errno = EILSEQ;
    return FAILED;
}
}
// NOLINTEND(bugprone-reserved-identifier)

namespace {

/// @return a descriptor that has no fallbacks. Descriptors are never closed: one per pair serves all tests.
iconv_t Descriptor(const std::string& to, const std::string& from) {
    static auto& descriptors = *new std::map<std::string, iconv_t>; // never destroyed, as they are not
    const auto [entry, isNew] = descriptors.try_emplace(to + "<" + from);
    if (isNew) {
        entry->second = libiconv_open(to.c_str(), from.c_str());
    }
    return entry->second;
}

/// Converts into a small buffer, or a part of it.
struct Conversion {
    explicit Conversion(std::string text, const char* to = "UTF-8", const char* from = "GBK",
                        std::size_t bytes = sizeof buffer)
        : in(std::move(text)), left(in.size()), room(bytes) {
        const iconv_t descriptor = Descriptor(to, from);
        char* source = in.data();
        char* target = buffer;
        errno = 0;
        result = libiconv(descriptor, &source, &left, &target, &room);
        error = errno;
        EXPECT_EQ(source, in.data() + in.size() - left);
        EXPECT_EQ(target, buffer + bytes - room);
    }
    std::string in;
    char buffer[8] = {};
    std::size_t left;
    std::size_t room;
    std::size_t result;
    int error;
};

TEST(IconvAdapter, StopsAtAnUndecodableByteThatNothingReplaces) {
    const Conversion conversion("ab\xFFz");
    EXPECT_EQ(conversion.result, FAILED);
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
    EXPECT_EQ(conversion.result, FAILED);
    EXPECT_EQ(conversion.error, EINVAL);
    EXPECT_EQ(conversion.left, 1U);
    EXPECT_EQ(conversion.room, 6U);
}

TEST(IconvAdapter, StopsBeforeACharacterThatDoesNotFit) {
    const Conversion conversion("abcdef\xC4\xE3z");
    EXPECT_EQ(conversion.result, FAILED);
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

TEST(IconvAdapter, StopsBeforeACharacterWithoutCodeOrReplacement) {
    const Conversion conversion("ab\xC4\xE3z", "ASCII");
    EXPECT_EQ(conversion.result, FAILED);
    EXPECT_EQ(conversion.error, EILSEQ);
    EXPECT_EQ(conversion.left, 3U);
    EXPECT_EQ(conversion.room, 6U);
}

TEST(IconvAdapter, DropsLanguageTagsWithoutCountingThem) {
    const std::string tags = "\xF3\xA0\x80\x81\xF3\xA0\x81\xBF"; // U+E0001 and U+E007F
    for (const char* to : {"GBK", "GB_2312-80", "UCS-2LE", "HZ"}) {
        const Conversion conversion(tags, to, "UTF-8");
        EXPECT_EQ(conversion.result, 0U) << to;
        EXPECT_EQ(conversion.left, 0U) << to;
        EXPECT_EQ(conversion.room, 8U) << to;
        EXPECT_EQ(Conversion("\xF3\xA0\x82\x80", to, "UTF-8").error, EILSEQ) << to << ": U+E0080 is none";
    }
}

// For each way in which an encoder writes: one byte too few, and just enough.
TEST(IconvAdapter, StopsWhereACodeOfAnySetDoesNotFit) {
    const struct {
        const char* to;
        const char* text; // in UTF-8
        std::size_t length;
    } rows[] = {{"UTF-16LE", "\xE4\xBD\xA0", 2}, {"UTF-16LE", "\xF0\x9F\x98\x80", 4}, // a pair
                {"UTF-16", "\xE4\xBD\xA0", 4},                                        // with a mark
                {"GBK", "\xE4\xBD\xA0", 2},      {"GB_2312-80", "\xE4\xBD\xA0", 2},
                {"HZ", "\xE4\xBD\xA0", 4},       // with the shift to two bytes
                {"GB18030", "\xEE\x9E\x8D", 2}}; // U+E78D, whose code is the adapter's own
    for (const auto& row : rows) {
        const std::size_t all = std::string(row.text).size();
        const Conversion tooShort(row.text, row.to, "UTF-8", row.length - 1);
        EXPECT_EQ(tooShort.result, FAILED) << row.to;
        EXPECT_EQ(tooShort.error, E2BIG) << row.to;
        EXPECT_EQ(tooShort.left, all) << row.to;
        EXPECT_EQ(tooShort.room, row.length - 1) << row.to;
        const Conversion enough(row.text, row.to, "UTF-8", row.length);
        EXPECT_EQ(enough.result, 0U) << row.to;
        EXPECT_EQ(enough.left, 0U) << row.to;
        EXPECT_EQ(enough.room, 0U) << row.to;
    }
}

TEST(IconvAdapter, StopsBeforeACharacterWhoseReplacementDoesNotFit) {
    iconv_fallbacks fallbacks{};
    fallbacks.uc_to_mb_fallback = [](unsigned int, void (*write)(const char*, std::size_t, void*),
                                     void* writeTo, void*) { write("(?)", 3, writeTo); };
    EXPECT_EQ(libiconvctl(Descriptor("ISO-8859-1", "GBK"), ICONV_SET_FALLBACKS, &fallbacks), 0);
    const Conversion enough("ab\xC4\xE3", "ISO-8859-1", "GBK", 5);
    EXPECT_EQ(enough.result, 1U);
    EXPECT_EQ(std::string(enough.buffer, 5), "ab(?)");
    const Conversion tooShort("ab\xC4\xE3", "ISO-8859-1", "GBK", 4);
    EXPECT_EQ(tooShort.result, FAILED);
    EXPECT_EQ(tooShort.error, E2BIG);
    EXPECT_EQ(tooShort.left, 2U);
    EXPECT_EQ(tooShort.room, 2U);
}

TEST(IconvAdapter, RefusesRequestsThatItDoesNotHave) {
    static const iconv_t descriptor = libiconv_open("ASCII", "GBK");
    EXPECT_EQ(libiconvctl(descriptor, ICONV_SET_FALLBACKS, nullptr), 0);
    errno = 0;
    EXPECT_EQ(libiconvctl(descriptor, 0, nullptr), -1);
    EXPECT_EQ(errno, EINVAL);
}

TEST(IconvAdapter, RefusesNamesWithTheReason) {
    errno = 0;
    EXPECT_EQ(libiconv_open("UTF-8", "no such set"), reinterpret_cast<iconv_t>(-1)); // NOLINT(*-int-to-ptr)
    EXPECT_EQ(errno, EINVAL);
}

} // namespace
#endif
