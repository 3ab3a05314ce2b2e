// SPDX-License-Identifier: Apache-2.0
#include "message/charset/IconvCharsets.h"

#include <algorithm>
#include <cstring>

#include <langinfo.h>

#include "message/charset/IconvBare94.h"
#include "message/charset/IconvLibc.h"
#include "message/charset/IconvUnicode.h"

namespace iconvadapter {

struct Charset {
    const char* names; ///< separated by single spaces, in capitals
    enum Kind { Utf8, Wide, Bare94, Hz, Libc } kind;
    bool keepsAscii;
    WideForm form;             ///< of a Wide set
    iconvadapter::Bare94 bare; ///< of a Bare94 set
    const char* libcName;      ///< of a Libc set
    Corrections corrections;
};

namespace {

using Order = WideForm::Order;
using Range = WideForm::Range;

constexpr Charset Wide(Order order, Range range, const char* names) {
    return {names, Charset::Wide, false, {order, range}, {}, nullptr, {}};
}

/// A set that holds ASCII, and holds it unchanged.
constexpr Charset Ascii(const char* libcName, const char* names, Corrections corrections = {}) {
    return {names, Charset::Libc, true, {}, {}, libcName, corrections};
}

/// A set with other characters in ASCII's place, with shift states, or with characters that it holds back.
constexpr Charset Other(const char* libcName, const char* names, Corrections corrections = {}) {
    return {names, Charset::Libc, false, {}, {}, libcName, corrections};
}

constexpr Charset Bare(Bare94 set, const char* names) {
    return {names, Charset::Bare94, false, {}, set, nullptr, {}};
}

template <std::size_t N>
constexpr Corrections All(const Correction (&corrections)[N],
                          bool (*wrongAlready)(const unsigned char*, std::size_t) = nullptr) {
    return {corrections, N, wrongAlready};
}

// The C library has U+0080 where GNU libiconv has no character.
constexpr Correction NO80[] = {{0x80, NOTHING}, {NOTHING, 0x80}};
constexpr Correction NO_C1[] = {
    {0x80, NOTHING, 0x8E - 0x80}, {0x90, NOTHING, 0xA1 - 0x90}, {0xFF, NOTHING}, {NOTHING, 0x80, 0x20}};

// The C library takes them for the beginning of a character, and waits for more.
constexpr Correction EUC_CN[] = {{0x8E, NOTHING, 2}};

constexpr Correction GBK[] = {{0x80, NOTHING}, {NOTHING, 0x20AC}};
constexpr Correction CP936[] = {{0x80, 0x20AC}};

// Characters that came into Unicode after they had been given codes in the private use area: the old code
// points are still written, and the four-byte codes of the new ones are still read.
constexpr Correction GB18030[] = {{0xA6D9, 0xE78D, 7, Way::Encode},     {0xA6EC, 0xE794, 2, Way::Encode},
                                  {0xA6F3, 0xE796, 1, Way::Encode},     {0xFE51, 0xE816, 3, Way::Encode},
                                  {0xFE59, 0xE81E, 1, Way::Encode},     {0xFE61, 0xE826, 1, Way::Encode},
                                  {0xFE66, 0xE82B, 2, Way::Encode},     {0xFE6C, 0xE831, 2, Way::Encode},
                                  {0xFE76, 0xE83B, 1, Way::Encode},     {0xFE7E, 0xE843, 1, Way::Encode},
                                  {0xFE90, 0xE854, 2, Way::Encode},     {0xFEA0, 0xE864, 1, Way::Encode},
                                  {0x84318236, 0xFE10, 4, Way::Decode}, {0x84318330, 0xFE14, 6, Way::Decode},
                                  {0x82359037, 0x9FB4, 3, Way::Decode}, {0x82359130, 0x9FB7, 5, Way::Decode}};

/// The first bytes of a four-byte code, when they can't become one.
bool WrongInGb18030(const unsigned char* in, std::size_t left) {
    if (left < 2 || in[1] < 0x30 || in[1] > 0x39) {
        return false;
    }
    const bool lead = (in[0] >= 0x81 && in[0] <= 0x84) || (in[0] >= 0x90 && in[0] <= 0xE3);
    return !lead || (left > 2 && (in[2] < 0x81 || in[2] > 0xFE));
}

constexpr Correction JIS_X0201[] = {
    {0x5C, 0xA5}, {0x7E, 0x203E}, {NOTHING, 0x5C}, {NOTHING, 0x7E}, {0xA1, 0xFF61, 63}};
constexpr Correction SHIFT_JIS[] = {{NOTHING, 0x5C}, {NOTHING, 0x7E}, {NOTHING, 0xFFE0, 3}};
constexpr Correction CP932[] = {{0x8160, 0x301C, 1, Way::Decode},
                                {0x8161, 0x2016, 1, Way::Decode},
                                {0xFA54, 0xFFE2, 1, Way::Encode},
                                {NOTHING, 0x2014},
                                {NOTHING, 0xA5},
                                {NOTHING, 0x203E}};
constexpr Correction BIG5[] = {{0x80, NOTHING}, {NOTHING, 0x80}, {0xA145, 0x2022}, {0xA1C2, 0x203E},
                               {0xA244, 0xA5},  {0xA246, 0xA2},  {0xA247, 0xA3}};
constexpr Correction BIG5_HKSCS[] = {{0x80, NOTHING}, {NOTHING, 0x80}, {0xA2A4, 0x2550, 1, Way::Encode}};
constexpr Correction MACINTOSH[] = {{NOTHING, 0x3A9}};

constexpr Charset CHARSETS[] = {
    {"UTF-8", Charset::Utf8, true, {}, {}, nullptr, {}},
    Wide(Order::Marked, Range::Ucs2, "ISO-10646-UCS-2 UCS-2 CSUNICODE"),
    Wide(Order::Big, Range::Ucs2, "UCS-2BE UNICODE-1-1 UNICODEBIG CSUNICODE11"),
    Wide(Order::Little, Range::Ucs2, "UCS-2LE UNICODELITTLE"),
    Wide(Order::Marked, Range::Ucs4, "ISO-10646-UCS-4 UCS-4 CSUCS4"),
    Wide(Order::Big, Range::Ucs4, "UCS-4BE"),
    Wide(Order::Little, Range::Ucs4, "UCS-4LE"),
    Wide(Order::Marked, Range::Utf16, "UTF-16"),
    Wide(Order::Big, Range::Utf16, "UTF-16BE"),
    Wide(Order::Little, Range::Utf16, "UTF-16LE"),
    Wide(Order::Marked, Range::Utf32, "UTF-32"),
    Wide(Order::Big, Range::Utf32, "UTF-32BE"),
    Wide(Order::Little, Range::Utf32, "UTF-32LE"),
    // Internal is this machine's order, swapped the other one.
    Wide(Order::Little, Range::Ucs2, "UCS-2-INTERNAL"),
    Wide(Order::Big, Range::Ucs2, "UCS-2-SWAPPED"),
    Wide(Order::Little, Range::Ucs4, "UCS-4-INTERNAL WCHAR_T"),
    Wide(Order::Big, Range::Ucs4, "UCS-4-SWAPPED"),
    Other("UTF-7", "UNICODE-1-1-UTF-7 UTF-7 CSUNICODE11UTF7"),

    Ascii("ASCII",
          "ANSI_X3.4-1968 ANSI_X3.4-1986 ASCII CP367 IBM367 ISO-IR-6 ISO646-US ISO_646.IRV:1991 US US-ASCII "
          "CSASCII"),
    Ascii("ISO-8859-1", "CP819 IBM819 ISO-8859-1 ISO-IR-100 ISO8859-1 ISO_8859-1 ISO_8859-1:1987 L1 LATIN1 "
                        "CSISOLATIN1"),
    Ascii("ISO-8859-2", "ISO-8859-2 ISO-IR-101 ISO8859-2 ISO_8859-2 ISO_8859-2:1987 L2 LATIN2 CSISOLATIN2"),
    Ascii("ISO-8859-3", "ISO-8859-3 ISO-IR-109 ISO8859-3 ISO_8859-3 ISO_8859-3:1988 L3 LATIN3 CSISOLATIN3"),
    Ascii("ISO-8859-4", "ISO-8859-4 ISO-IR-110 ISO8859-4 ISO_8859-4 ISO_8859-4:1988 L4 LATIN4 CSISOLATIN4"),
    Ascii("ISO-8859-5",
          "CYRILLIC ISO-8859-5 ISO-IR-144 ISO8859-5 ISO_8859-5 ISO_8859-5:1988 CSISOLATINCYRILLIC"),
    Ascii("ISO-8859-6", "ARABIC ASMO-708 ECMA-114 ISO-8859-6 ISO-IR-127 ISO8859-6 ISO_8859-6 ISO_8859-6:1987 "
                        "CSISOLATINARABIC"),
    Ascii("ISO-8859-7",
          "ECMA-118 ELOT_928 GREEK GREEK8 ISO-8859-7 ISO-IR-126 ISO8859-7 ISO_8859-7 ISO_8859-7:1987 "
          "ISO_8859-7:2003 CSISOLATINGREEK"),
    Ascii("ISO-8859-8", "HEBREW ISO-8859-8 ISO-IR-138 ISO8859-8 ISO_8859-8 ISO_8859-8:1988 CSISOLATINHEBREW"),
    Ascii("ISO-8859-9", "ISO-8859-9 ISO-IR-148 ISO8859-9 ISO_8859-9 ISO_8859-9:1989 L5 LATIN5 CSISOLATIN5"),
    Ascii("ISO-8859-10",
          "ISO-8859-10 ISO-IR-157 ISO8859-10 ISO_8859-10 ISO_8859-10:1992 L6 LATIN6 CSISOLATIN6"),
    Ascii("ISO-8859-11", "ISO-8859-11 ISO8859-11 ISO_8859-11"),
    Ascii("ISO-8859-13", "ISO-8859-13 ISO-IR-179 ISO8859-13 ISO_8859-13 L7 LATIN7"),
    Ascii("ISO-8859-14",
          "ISO-8859-14 ISO-CELTIC ISO-IR-199 ISO8859-14 ISO_8859-14 ISO_8859-14:1998 L8 LATIN8"),
    Ascii("ISO-8859-15", "ISO-8859-15 ISO-IR-203 ISO8859-15 ISO_8859-15 ISO_8859-15:1998 LATIN-9"),
    Ascii("ISO-8859-16", "ISO-8859-16 ISO-IR-226 ISO8859-16 ISO_8859-16 ISO_8859-16:2001 L10 LATIN10"),
    Ascii("KOI8-R", "KOI8-R CSKOI8R"),
    Ascii("KOI8-U", "KOI8-U"),
    Ascii("KOI8-RU", "KOI8-RU"),
    Ascii("KOI8-T", "KOI8-T"),
    Ascii("CP1250", "CP1250 MS-EE WINDOWS-1250"),
    Ascii("CP1251", "CP1251 MS-CYRL WINDOWS-1251"),
    Ascii("CP1252", "CP1252 MS-ANSI WINDOWS-1252"),
    Ascii("CP1253", "CP1253 MS-GREEK WINDOWS-1253"),
    Ascii("CP1254", "CP1254 MS-TURK WINDOWS-1254"),
    Other("CP1255", "CP1255 MS-HEBR WINDOWS-1255"),
    Ascii("CP1256", "CP1256 MS-ARAB WINDOWS-1256"),
    Ascii("CP1257", "CP1257 WINBALTRIM WINDOWS-1257"),
    Other("CP1258", "CP1258 WINDOWS-1258"),
    Ascii("CP850", "850 CP850 IBM850 CSPC850MULTILINGUAL"),
    Ascii("CP862", "862 CP862 IBM862 CSPC862LATINHEBREW"),
    Ascii("CP866", "866 CP866 IBM866 CSIBM866"),
    Ascii("MACINTOSH", "MAC MACINTOSH MACROMAN CSMACINTOSH", All(MACINTOSH)),
    Ascii("MAC-CENTRALEUROPE", "MACCENTRALEUROPE"),
    Ascii("MAC-UK", "MACCYRILLIC MACUKRAINE"),
    Ascii("MAC-IS", "MACICELAND"),
    Ascii("HP-ROMAN8", "HP-ROMAN8 R8 ROMAN8 CSHPROMAN8"),
    Ascii("ARMSCII-8", "ARMSCII-8"),
    Ascii("GEORGIAN-ACADEMY", "GEORGIAN-ACADEMY"),
    Ascii("GEORGIAN-PS", "GEORGIAN-PS"),
    Ascii("PT154", "CP154 CYRILLIC-ASIAN PT154 PTCP154 CSPTCP154"),
    Ascii("RK1048", "KZ-1048 RK1048 STRK1048-2002 CSKZ1048"),
    Ascii("CP1133", "CP1133 IBM-CP1133"),
    Ascii("TIS-620", "ISO-IR-166 TIS-620 TIS620 TIS620-0 TIS620.2529-1 TIS620.2533-0 TIS620.2533-1"),
    Ascii("CP874", "CP874 WINDOWS-874"),
    Other("VISCII", "VISCII VISCII1.1-1 CSVISCII"),
    Other("TCVN", "TCVN TCVN-5712 TCVN5712-1 TCVN5712-1:1993"),

    Other("ISO646-JP", "ISO-IR-14 ISO646-JP JIS_C6220-1969-RO JP CSISO14JISC6220RO"),
    Other("ASCII", "JISX0201-1976 JIS_X0201 X0201 CSHALFWIDTHKATAKANA", All(JIS_X0201)),
    Other("ISO646-CN", "CN GB_1988-80 ISO-IR-57 ISO646-CN CSISO57GB1988"),
    Ascii("EUC-JP", "EUC-JP EUCJP EXTENDED_UNIX_CODE_PACKED_FORMAT_FOR_JAPANESE CSEUCPKDFMTJAPANESE",
          All(NO_C1)),
    Other("SJIS", "MS_KANJI SHIFT-JIS SHIFT_JIS SJIS CSSHIFTJIS", All(SHIFT_JIS)),
    Ascii("CP932", "CP932", All(CP932)),
    Other("ISO-2022-JP", "ISO-2022-JP CSISO2022JP"),
    Other("ISO-2022-JP-2", "ISO-2022-JP-2 CSISO2022JP2"),
    Ascii("EUC-CN", "CN-GB EUC-CN EUCCN GB2312 CSGB2312", All(EUC_CN)),
    Ascii("GBK", "GBK", All(GBK)),
    Ascii("GBK", "CP936 MS936 WINDOWS-936", All(CP936)),
    Ascii("GB18030", "GB18030 CSGB18030", All(GB18030, WrongInGb18030)),
    {"HZ HZ-GB-2312", Charset::Hz, false, {}, {}, nullptr, {}},
    Bare(GB2312, "CHINESE GB_2312-80 ISO-IR-58 CSISO58GB231280"),
    Bare({"EUC-JP", 0},
         "ISO-IR-87 JIS0208 JIS_C6226-1983 JIS_X0208 JIS_X0208-1983 JIS_X0208-1990 X0208 CSISO87JISX0208"),
    Bare({"EUC-JP", 0x8F}, "ISO-IR-159 JIS_X0212 JIS_X0212-1990 JIS_X0212.1990-0 X0212 CSISO159JISX02121990"),
    Bare({"EUC-KR", 0}, "ISO-IR-149 KOREAN KSC_5601 KS_C_5601-1987 KS_C_5601-1989 CSKSC56011987"),
    Other("ISO-2022-CN", "ISO-2022-CN CSISO2022CN"),
    Other("ISO-2022-CN-EXT", "ISO-2022-CN-EXT"),
    Ascii("EUC-TW", "EUC-TW EUCTW CSEUCTW"),
    Ascii("BIG5", "BIG-5 BIG-FIVE BIG5 BIGFIVE CN-BIG5 CSBIG5", All(BIG5)),
    Ascii("CP950", "CP950", All(NO80)),
    Other("BIG5-HKSCS",
          "BIG5-HKSCS BIG5-HKSCS:2008 BIG5HKSCS BIG5-HKSCS:1999 BIG5-HKSCS:2001 BIG5-HKSCS:2004",
          All(BIG5_HKSCS)),
    Ascii("EUC-KR", "EUC-KR EUCKR CSEUCKR", All(NO_C1)),
    Ascii("UHC", "CP949 UHC"),
    Other("JOHAB", "CP1361 JOHAB"),
    Other("ISO-2022-KR", "ISO-2022-KR CSISO2022KR"),
};

bool SameName(std::string_view name, std::string_view upper) {
    return std::equal(name.begin(), name.end(), upper.begin(), upper.end(), [](char a, char b) {
        return (a >= 'a' && a <= 'z' ? static_cast<char>(a - 'a' + 'A') : a) == b;
    });
}

bool HasName(const Charset& charset, std::string_view name) {
    std::string_view names = charset.names;
    while (!names.empty()) {
        const std::size_t end = std::min(names.find(' '), names.size());
        if (SameName(name, names.substr(0, end))) {
            return true;
        }
        names.remove_prefix(std::min(end + 1, names.size()));
    }
    return false;
}

/// Takes the suffix off the name's end, if it is there.
bool Strip(std::string_view& name, std::string_view suffix) {
    if (name.size() <= suffix.size()) { // a suffix alone is a name, and nobody's
        return false;
    }
    const std::size_t start = name.size() - suffix.size();
    if (!SameName(name.substr(start), suffix)) {
        return false;
    }
    name = name.substr(0, start);
    return true;
}

const Charset* FindBareName(std::string_view name) {
    if (name.empty() || SameName(name, "CHAR")) {
        name = nl_langinfo(CODESET);
    }
    const auto found = std::find_if(std::begin(CHARSETS), std::end(CHARSETS),
                                    [name](const Charset& charset) { return HasName(charset, name); });
    return found == std::end(CHARSETS) ? nullptr : found;
}

} // namespace

NamedCharset FindCharset(std::string_view name) {
    constexpr std::size_t LONGEST_NAME = 55; // GNU libiconv's limit, suffixes included
    if (name.size() > LONGEST_NAME) {
        return {nullptr, false};
    }
    bool ignore = false;
    for (;;) {
        if (Strip(name, "//IGNORE")) {
            ignore = true;
        } else if (!Strip(name, "//TRANSLIT")) {
            return {FindBareName(name), ignore};
        }
    }
}

bool KeepsAscii(const Charset& charset) {
    return charset.keepsAscii;
}

std::unique_ptr<Decoder> MakeDecoder(const Charset& charset) {
    switch (charset.kind) {
    case Charset::Utf8:
        return MakeUtf8Decoder();
    case Charset::Wide:
        return MakeWideDecoder(charset.form);
    case Charset::Bare94:
        return MakeBare94Decoder(charset.bare);
    case Charset::Hz:
        return MakeHzDecoder();
    case Charset::Libc:
        break;
    }
    return MakeLibcDecoder(charset.libcName, charset.corrections);
}

std::unique_ptr<Encoder> MakeEncoder(const Charset& charset) {
    switch (charset.kind) {
    case Charset::Utf8:
        return MakeUtf8Encoder();
    case Charset::Wide:
        return MakeWideEncoder(charset.form);
    case Charset::Bare94:
        return MakeBare94Encoder(charset.bare);
    case Charset::Hz:
        return MakeHzEncoder();
    case Charset::Libc:
        break;
    }
    return MakeLibcEncoder(charset.libcName, charset.corrections);
}

} // namespace iconvadapter
