// SPDX-License-Identifier: Apache-2.0
/// @file
/// GNU libiconv's interface on top of the C library's iconv, for systems that have only that one. No more of
/// the interface is here than the library uses; names, types and results are GNU libiconv's.
#pragma once

#include <cstddef>

#pragma GCC visibility push(hidden)

extern "C" {

using iconv_t = void*;

/// Called for input that can't be decoded.
using iconv_unicode_mb_to_uc_fallback = void (*)(const char* inbuf, std::size_t inbufsize,
                                                 void (*write_replacement)(const unsigned int* buf,
                                                                           std::size_t buflen,
                                                                           void* callback_arg),
                                                 void* callback_arg, void* data);
/// Called for a character that the target set doesn't have.
using iconv_unicode_uc_to_mb_fallback = void (*)(
    unsigned int code, void (*write_replacement)(const char* buf, std::size_t buflen, void* callback_arg),
    void* callback_arg, void* data);
using iconv_wchar_mb_to_wc_fallback = void (*)(const char* inbuf, std::size_t inbufsize,
                                               void (*write_replacement)(const wchar_t* buf,
                                                                         std::size_t buflen,
                                                                         void* callback_arg),
                                               void* callback_arg, void* data);
using iconv_wchar_wc_to_mb_fallback = void (*)(wchar_t code,
                                               void (*write_replacement)(const char* buf, std::size_t buflen,
                                                                         void* callback_arg),
                                               void* callback_arg, void* data);

/// The replacements of a descriptor. The wchar_t pair is never called: no conversion here
/// goes through wchar_t.
struct iconv_fallbacks {
    iconv_unicode_mb_to_uc_fallback mb_to_uc_fallback;
    iconv_unicode_uc_to_mb_fallback uc_to_mb_fallback;
    iconv_wchar_mb_to_wc_fallback mb_to_wc_fallback;
    iconv_wchar_wc_to_mb_fallback wc_to_mb_fallback;
    void* data;
};

/// Opens a conversion. Names are GNU libiconv's, in any case, with "//TRANSLIT" and "//IGNORE" after the
/// target's. "//TRANSLIT" is accepted and has no effect: transliteration tables are not carried.
/// @return the descriptor, or the all-ones pointer (EINVAL: no such conversion; ENOMEM).
iconv_t libiconv_open(const char* tocode, const char* fromcode);

/// Converts as much as there is. Shift states are carried from call to call; there is no reset, so `inbuf` is
/// never null.
/// @return the number of irreversible replacements, or -1 (EINVAL: the last character is incomplete; E2BIG:
///         the output does not fit; EILSEQ: undecodable or unrepresentable, and nothing replaces it).
std::size_t libiconv(iconv_t cd, char** inbuf, std::size_t* inbytesleft, char** outbuf,
                     std::size_t* outbytesleft);

/// Carries out a request; ICONV_SET_FALLBACKS (argument: const iconv_fallbacks*) is the only one there is.
/// @return 0, or -1 (EINVAL) for any other request.
int libiconvctl(iconv_t cd, int request, void* argument);

} // extern "C"

#pragma GCC visibility pop

inline constexpr int ICONV_SET_FALLBACKS = 6;
