// SPDX-License-Identifier: Apache-2.0
#include "message/charset/IconvUnicode.h"

namespace iconvadapter {
namespace {

using Order = WideForm::Order;
using Range = WideForm::Range;

constexpr bool IsSurrogate(char32_t c) {
    return c >= 0xD800 && c < 0xE000;
}

constexpr bool IsHighSurrogate(char32_t c) {
    return c >= 0xD800 && c < 0xDC00;
}

constexpr bool IsScalar(char32_t c) {
    return c < 0x110000 && !IsSurrogate(c);
}

class Utf8Decoder final : public Decoder {
public:
    Decoded Decode(const unsigned char* in, std::size_t left) override {
        const unsigned char lead = in[0];
        if (lead < 0x80) {
            return {DecodeStatus::Character, 1, lead};
        }
        const std::size_t length = Length(lead);
        if (length == 0) {
            return {DecodeStatus::Invalid};
        }
        // The lead byte alone says how much must be there: a short sequence is incomplete even if what there
        // is of it is wrong already.
        if (left < length) {
            return {DecodeStatus::Incomplete};
        }
        char32_t character = lead & (0x7FU >> length);
        for (std::size_t i = 1; i < length; ++i) {
            if ((in[i] & 0xC0U) != 0x80) {
                return {DecodeStatus::Invalid};
            }
            character = (character << 6U) | (in[i] & 0x3FU);
        }
        if (character < Smallest(length) || !IsScalar(character)) {
            return {DecodeStatus::Invalid};
        }
        return {DecodeStatus::Character, length, character};
    }

private:
    static std::size_t Length(unsigned char lead) {
        if (lead < 0xC2 || lead >= 0xF8) {
            return 0;
        }
        if (lead < 0xE0) {
            return 2;
        }
        return lead < 0xF0 ? 3 : 4;
    }
    static char32_t Smallest(std::size_t length) {
        if (length == 2) {
            return 0x80;
        }
        return length == 3 ? 0x800 : 0x10000;
    }
};

class Utf8Encoder final : public Encoder {
public:
    Encoded Encode(char32_t character, unsigned char* out, std::size_t room) override {
        if (!IsScalar(character)) {
            return {EncodeStatus::Unrepresentable};
        }
        const std::size_t length = Length(character);
        if (room < length) {
            return {EncodeStatus::NoRoom};
        }
        if (length == 1) {
            out[0] = static_cast<unsigned char>(character);
            return {EncodeStatus::Written, 1};
        }
        for (std::size_t i = length - 1; i > 0; --i) {
            out[i] = static_cast<unsigned char>(0x80U | (character & 0x3FU));
            character >>= 6U;
        }
        out[0] = static_cast<unsigned char>((0xF00U >> length) | character);
        return {EncodeStatus::Written, length};
    }

private:
    static std::size_t Length(char32_t character) {
        if (character < 0x80) {
            return 1;
        }
        if (character < 0x800) {
            return 2;
        }
        return character < 0x10000 ? 3 : 4;
    }
};

constexpr std::size_t UnitSize(Range range) {
    return range == Range::Utf16 || range == Range::Ucs2 ? 2 : 4;
}

class WideDecoder final : public Decoder {
public:
    explicit WideDecoder(WideForm form)
        : m_marked(form.order == Order::Marked), m_little(form.order == Order::Little), m_range(form.range),
          m_unit(UnitSize(form.range)) {}

    Decoded Decode(const unsigned char* in, std::size_t left) override {
        if (left < m_unit) {
            return {DecodeStatus::Incomplete};
        }
        const char32_t first = Unit(in);
        if (m_marked && TakeMark(first)) {
            return {DecodeStatus::Shift, m_unit};
        }
        if (m_range == Range::Utf16 && IsHighSurrogate(first)) {
            return Pair(first, in, left);
        }
        if (!IsValid(first)) {
            return {DecodeStatus::Invalid};
        }
        return {DecodeStatus::Character, m_unit, first};
    }

    std::size_t InvalidUnit() const override { return m_unit; }

private:
    char32_t Unit(const unsigned char* in) const {
        char32_t unit = 0;
        for (std::size_t i = 0; i < m_unit; ++i) {
            unit = (unit << 8U) | in[m_little ? m_unit - 1 - i : i];
        }
        return unit;
    }
    /// A byte order mark counts wherever it stands, and a swapped one turns the order round.
    bool TakeMark(char32_t unit) {
        const char32_t swapped = m_unit == 2 ? 0xFFFE : 0xFFFE0000;
        if (unit == swapped) {
            m_little = !m_little;
        }
        return unit == swapped || unit == 0xFEFF;
    }
    Decoded Pair(char32_t high, const unsigned char* in, std::size_t left) const {
        if (left < 2 * m_unit) {
            return {DecodeStatus::Incomplete};
        }
        const char32_t low = Unit(in + m_unit);
        if (!IsSurrogate(low) || IsHighSurrogate(low)) {
            return {DecodeStatus::Invalid};
        }
        return {DecodeStatus::Character, 2 * m_unit, 0x10000 + ((high - 0xD800) << 10U) + (low - 0xDC00)};
    }
    bool IsValid(char32_t unit) const {
        if (m_range == Range::Ucs4) {
            return !m_marked || unit <= 0x7FFFFFFF;
        }
        return IsScalar(unit);
    }

    const bool m_marked;
    bool m_little;
    const Range m_range;
    const std::size_t m_unit;
};

class WideEncoder final : public Encoder {
public:
    explicit WideEncoder(WideForm form)
        : m_marked(form.order == Order::Marked), m_little(form.order == Order::Little), m_range(form.range),
          m_unit(UnitSize(form.range)),
          m_markDue(m_marked && (m_range == Range::Utf16 || m_range == Range::Utf32)) {}

    Encoded Encode(char32_t character, unsigned char* out, std::size_t room) override {
        if (!Has(character)) {
            return {EncodeStatus::Unrepresentable};
        }
        const bool pair = m_unit == 2 && character >= 0x10000;
        const std::size_t length = (m_markDue ? m_unit : 0) + (pair ? 2 * m_unit : m_unit);
        if (room < length) {
            return {EncodeStatus::NoRoom};
        }
        if (m_markDue) {
            out = Put(0xFEFF, out);
        }
        m_markDue = false;
        if (pair) {
            out = Put(0xD800 + ((character - 0x10000) >> 10U), out);
        }
        Put(pair ? 0xDC00 + (character & 0x3FFU) : character, out);
        return {EncodeStatus::Written, length};
    }

private:
    bool Has(char32_t character) const {
        if (m_range == Range::Ucs4) {
            return character <= 0x7FFFFFFF;
        }
        if (m_unit == 2 && m_marked && character == 0xFFFE) { // it would be read as a swapped mark
            return false;
        }
        return IsScalar(character) && (m_range != Range::Ucs2 || character < 0x10000);
    }
    unsigned char* Put(char32_t unit, unsigned char* out) const {
        for (std::size_t i = 0; i < m_unit; ++i) {
            out[m_little ? i : m_unit - 1 - i] = static_cast<unsigned char>(unit);
            unit >>= 8U;
        }
        return out + m_unit;
    }

    const bool m_marked;
    const bool m_little;
    const Range m_range;
    const std::size_t m_unit;
    bool m_markDue;
};

} // namespace

std::unique_ptr<Decoder> MakeUtf8Decoder() {
    return std::make_unique<Utf8Decoder>();
}

std::unique_ptr<Encoder> MakeUtf8Encoder() {
    return std::make_unique<Utf8Encoder>();
}

std::unique_ptr<Decoder> MakeWideDecoder(WideForm form) {
    return std::make_unique<WideDecoder>(form);
}

std::unique_ptr<Encoder> MakeWideEncoder(WideForm form) {
    return std::make_unique<WideEncoder>(form);
}

} // namespace iconvadapter
