// SPDX-License-Identifier: Apache-2.0
#include "message/charset/IconvLibc.h"

#include <cerrno>

#include <iconv.h>

namespace iconvadapter {
namespace {

// The C library's own form of a character: conversions to and from it take one step, so nothing
// is read ahead.
constexpr const char* WIDE = "WCHAR_T";
static_assert(sizeof(wchar_t) == sizeof(char32_t));

class Descriptor {
public:
    Descriptor(const char* to, const char* from) : m_cd(iconv_open(to, from)) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() {
        if (IsOpen()) {
            iconv_close(m_cd);
        }
    }
    // NOLINTNEXTLINE(performance-no-int-to-ptr): this is how iconv_open says no
    bool IsOpen() const { return m_cd != reinterpret_cast<iconv_t>(-1); }
    std::size_t Convert(char** in, std::size_t* left, char** out, std::size_t* room) {
        return iconv(m_cd, in, left, out, room);
    }

private:
    iconv_t m_cd;
};

std::size_t CodeLength(std::uint32_t code) {
    if (code < 0x100) {
        return 1;
    }
    return code < 0x10000 ? 2 : 4;
}

std::uint32_t ReadCode(const unsigned char* in, std::size_t length) {
    std::uint32_t code = 0;
    for (std::size_t i = 0; i < length; ++i) {
        code = (code << 8U) | in[i];
    }
    return code;
}

class LibcDecoder final : public Decoder {
public:
    LibcDecoder(const char* name, const Corrections& corrections)
        : m_libc(WIDE, name), m_corrections(corrections) {}
    bool IsOpen() const { return m_libc.IsOpen(); }

    Decoded Decode(const unsigned char* in, std::size_t left) override {
        for (std::size_t i = 0; i < m_corrections.count; ++i) {
            const Correction& correction = m_corrections.first[i];
            if (Holds(correction, in, left)) {
                return Corrected(correction, in);
            }
        }
        return Convert(in, left);
    }

private:
    static bool Holds(const Correction& correction, const unsigned char* in, std::size_t left) {
        if (correction.code == NOTHING || correction.way == Way::Encode) {
            return false;
        }
        const std::size_t length = CodeLength(correction.code);
        return left >= length && ReadCode(in, length) - correction.code < correction.count;
    }
    static Decoded Corrected(const Correction& correction, const unsigned char* in) {
        if (correction.character == NOTHING) {
            return {DecodeStatus::Invalid};
        }
        const std::size_t length = CodeLength(correction.code);
        return {DecodeStatus::Character, length,
                correction.character + (ReadCode(in, length) - correction.code)};
    }
    Decoded Convert(const unsigned char* in, std::size_t left) {
        char* source = const_cast<char*>(reinterpret_cast<const char*>(in)); // iconv doesn't write to it
        std::size_t rest = left;
        char32_t character = 0;
        char* target = reinterpret_cast<char*>(&character);
        std::size_t room = sizeof character; // for one character: iconv stops behind it
        const std::size_t result = m_libc.Convert(&source, &rest, &target, &room);
        const std::size_t used = left - rest;
        if (room == 0) {
            return {DecodeStatus::Character, used, character};
        }
        // The C library can name an error although it has first used up bytes, even all of them.
        if (used > 0) {
            return {DecodeStatus::Shift, used};
        }
        if (result == FAILED && errno == EILSEQ) {
            return {DecodeStatus::Invalid};
        }
        const bool wrong = m_corrections.wrongAlready != nullptr && m_corrections.wrongAlready(in, left);
        return {wrong ? DecodeStatus::Invalid : DecodeStatus::Incomplete};
    }

    Descriptor m_libc;
    const Corrections m_corrections;
};

class LibcEncoder final : public Encoder {
public:
    LibcEncoder(const char* name, const Corrections& corrections)
        : m_libc(name, WIDE), m_corrections(corrections) {}
    bool IsOpen() const { return m_libc.IsOpen(); }

    Encoded Encode(char32_t character, unsigned char* out, std::size_t room) override {
        for (std::size_t i = 0; i < m_corrections.count; ++i) {
            const Correction& correction = m_corrections.first[i];
            if (Holds(correction, character)) {
                return Corrected(correction, character, out, room);
            }
        }
        return Convert(character, out, room);
    }

private:
    static bool Holds(const Correction& correction, char32_t character) {
        return correction.character != NOTHING && correction.way != Way::Decode &&
               character - correction.character < correction.count;
    }
    static Encoded Corrected(const Correction& correction, char32_t character, unsigned char* out,
                             std::size_t room) {
        if (correction.code == NOTHING) {
            return {EncodeStatus::Unrepresentable};
        }
        std::uint32_t code = correction.code + (character - correction.character);
        const std::size_t length = CodeLength(code);
        if (room < length) {
            return {EncodeStatus::NoRoom};
        }
        for (std::size_t i = length; i-- > 0; code >>= 8U) {
            out[i] = static_cast<unsigned char>(code);
        }
        return {EncodeStatus::Written, length};
    }
    Encoded Convert(char32_t character, unsigned char* out, std::size_t room) {
        char* source = reinterpret_cast<char*>(&character);
        std::size_t rest = sizeof character;
        char* target = reinterpret_cast<char*>(out);
        std::size_t left = room;
        if (m_libc.Convert(&source, &rest, &target, &left) != FAILED) {
            return {EncodeStatus::Written, room - left};
        }
        return {errno == E2BIG ? EncodeStatus::NoRoom : EncodeStatus::Unrepresentable};
    }

    Descriptor m_libc;
    const Corrections m_corrections;
};

} // namespace

std::unique_ptr<Decoder> MakeLibcDecoder(const char* name, const Corrections& corrections) {
    auto decoder = std::make_unique<LibcDecoder>(name, corrections);
    return decoder->IsOpen() ? std::move(decoder) : nullptr;
}

std::unique_ptr<Encoder> MakeLibcEncoder(const char* name, const Corrections& corrections) {
    auto encoder = std::make_unique<LibcEncoder>(name, corrections);
    return encoder->IsOpen() ? std::move(encoder) : nullptr;
}

} // namespace iconvadapter
