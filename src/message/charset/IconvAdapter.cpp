// SPDX-License-Identifier: Apache-2.0
#include "message/charset/IconvAdapter.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <new>
#include <string_view>

#include "message/charset/IconvCharsets.h"

namespace iconvadapter {
namespace {

/// The bytes that are left to write to.
struct Output {
    unsigned char* at;
    std::size_t room;
    int error = 0; ///< the first thing that went wrong

    bool Write(const void* bytes, std::size_t count) {
        if (count > room) {
            error = E2BIG;
            return false;
        }
        std::memcpy(at, bytes, count);
        Advance(count);
        return true;
    }
    void Advance(std::size_t count) {
        at += count;
        room -= count;
    }
};

class Conversion {
public:
    Conversion(std::unique_ptr<Decoder> decoder, std::unique_ptr<Encoder> encoder, bool keepsAscii,
               bool ignore)
        : m_decoder(std::move(decoder)), m_encoder(std::move(encoder)), m_keepsAscii(keepsAscii),
          m_ignore(ignore) {}

    void SetFallbacks(const iconv_fallbacks& fallbacks) { m_fallbacks = fallbacks; }

    std::size_t Convert(const unsigned char*& in, std::size_t& left, Output& out) {
        std::size_t replaced = 0;
        while (left > 0) {
            CopyAscii(in, left, out);
            if (left == 0) {
                break;
            }
            std::size_t used = 0;
            if (!Step(in, left, used, out, replaced)) {
                return FAILED;
            }
            in += used;
            left -= used;
        }
        return replaced;
    }

private:
    /// Copies the ASCII that the input begins with.
    void CopyAscii(const unsigned char*& in, std::size_t& left, Output& out) const {
        if (!m_keepsAscii) {
            return;
        }
        const std::size_t most = std::min(left, out.room);
        std::size_t count = 0;
        while (count < most && in[count] < 0x80) {
            ++count;
        }
        out.Write(in, count);
        in += count;
        left -= count;
    }

    bool Step(const unsigned char* in, std::size_t left, std::size_t& used, Output& out,
              std::size_t& replaced) {
        const Decoded decoded = m_decoder->Decode(in, left);
        used = decoded.used;
        switch (decoded.status) {
        case DecodeStatus::Character:
            return WriteCharacter(decoded.character, out, replaced);
        case DecodeStatus::Shift:
            return true;
        case DecodeStatus::Incomplete:
            return Fail(out, EINVAL);
        case DecodeStatus::Invalid:
            used = m_decoder->InvalidUnit();
            return ReplaceInput(in, used, out, replaced);
        }
        // Each status has left the function above; without it the compiler misses a result.
        return Fail(out, EINVAL); // GCOVR_EXCL_LINE: never reached
    }

    bool WriteCharacter(char32_t character, Output& out, std::size_t& replaced) {
        const Encoded encoded = m_encoder->Encode(character, out.at, out.room);
        if (encoded.status == EncodeStatus::NoRoom) {
            return Fail(out, E2BIG);
        }
        if (encoded.status == EncodeStatus::Unrepresentable) {
            return ReplaceCharacter(character, out, replaced);
        }
        out.Advance(encoded.written);
        return true;
    }

    bool ReplaceInput(const unsigned char* in, std::size_t count, Output& out, std::size_t& replaced) {
        if (m_ignore) {
            return true; // dropped, and not counted
        }
        if (m_fallbacks.mb_to_uc_fallback == nullptr) {
            return Fail(out, EILSEQ);
        }
        Replacement replacement{*this, out};
        m_fallbacks.mb_to_uc_fallback(reinterpret_cast<const char*>(in), count, WriteCharacters, &replacement,
                                      m_fallbacks.data);
        ++replaced;
        return out.error == 0;
    }

    bool ReplaceCharacter(char32_t character, Output& out, std::size_t& replaced) {
        if (character >> 7U == 0xE0000 >> 7U) {
            return true; // language tags are dropped in silence
        }
        ++replaced;
        if (m_ignore) {
            return true;
        }
        if (m_fallbacks.uc_to_mb_fallback == nullptr) {
            return Fail(out, EILSEQ);
        }
        // The replacement is bytes of the target set and bypasses the encoder, whatever its shift state.
        m_fallbacks.uc_to_mb_fallback(character, WriteBytes, &out, m_fallbacks.data);
        return out.error == 0;
    }

    static bool Fail(Output& out, int error) {
        out.error = error;
        return false;
    }

    struct Replacement {
        Conversion& conversion;
        Output& out;
    };
    static void WriteCharacters(const unsigned int* buf, std::size_t buflen, void* callback_arg) {
        auto& [conversion, out] = *static_cast<Replacement*>(callback_arg);
        std::size_t uncounted = 0; // the undecodable input is counted, not what becomes of its replacement
        for (std::size_t i = 0; i < buflen && out.error == 0; ++i) {
            conversion.WriteCharacter(buf[i], out, uncounted);
        }
    }
    static void WriteBytes(const char* buf, std::size_t buflen, void* callback_arg) {
        auto& out = *static_cast<Output*>(callback_arg);
        if (out.error == 0) {
            out.Write(buf, buflen);
        }
    }

    const std::unique_ptr<Decoder> m_decoder;
    const std::unique_ptr<Encoder> m_encoder;
    const bool m_keepsAscii;
    const bool m_ignore;
    iconv_fallbacks m_fallbacks{};
};

std::unique_ptr<Conversion> Open(std::string_view to, std::string_view from) {
    const NamedCharset target = FindCharset(to);
    const NamedCharset source = FindCharset(from);
    if (target.charset == nullptr || source.charset == nullptr) {
        errno = EINVAL;
        return nullptr;
    }
    auto decoder = MakeDecoder(*source.charset);
    auto encoder = MakeEncoder(*target.charset);
    if (!decoder || !encoder) {
        return nullptr;
    }
    const bool keepsAscii = KeepsAscii(*source.charset) && KeepsAscii(*target.charset);
    // Only the target's suffix counts.
    return std::make_unique<Conversion>(std::move(decoder), std::move(encoder), keepsAscii, target.ignore);
}

} // namespace
} // namespace iconvadapter

using iconvadapter::Conversion;

iconv_t libiconv_open(const char* tocode, const char* fromcode) {
    try {
        if (auto conversion = iconvadapter::Open(tocode, fromcode)) {
            return conversion.release();
        }
    } catch (const std::bad_alloc&) {
        errno = ENOMEM;
    }
    return reinterpret_cast<iconv_t>(-1); // NOLINT(performance-no-int-to-ptr): the interface's way to say no
}

std::size_t libiconv(iconv_t cd, char** inbuf, std::size_t* inbytesleft, char** outbuf,
                     std::size_t* outbytesleft) {
    auto in = reinterpret_cast<const unsigned char*>(*inbuf);
    iconvadapter::Output out{reinterpret_cast<unsigned char*>(*outbuf), *outbytesleft};
    const std::size_t result = static_cast<Conversion*>(cd)->Convert(in, *inbytesleft, out);
    *inbuf += in - reinterpret_cast<const unsigned char*>(*inbuf);
    *outbuf = reinterpret_cast<char*>(out.at);
    *outbytesleft = out.room;
    if (result == iconvadapter::FAILED) {
        errno = out.error;
    }
    return result;
}

int libiconvctl(iconv_t cd, int request, void* argument) {
    if (request != ICONV_SET_FALLBACKS) {
        errno = EINVAL;
        return -1;
    }
    const auto* fallbacks = static_cast<const iconv_fallbacks*>(argument);
    static_cast<Conversion*>(cd)->SetFallbacks(fallbacks != nullptr ? *fallbacks : iconv_fallbacks{});
    return 0;
}
