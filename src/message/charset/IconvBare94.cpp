// SPDX-License-Identifier: Apache-2.0
#include "message/charset/IconvBare94.h"

#include <cstring>
#include <utility>

#include "message/charset/IconvLibc.h"

namespace iconvadapter {
namespace {

class Bare94Decoder final : public Decoder {
public:
    Bare94Decoder(std::unique_ptr<Decoder> euc, unsigned char singleShift)
        : m_euc(std::move(euc)), m_singleShift(singleShift) {}

    Decoded Decode(const unsigned char* in, std::size_t left) override {
        if (!IsCodeByte(in[0])) {
            return {DecodeStatus::Invalid};
        }
        if (left < 2) {
            return {DecodeStatus::Incomplete};
        }
        if (!IsCodeByte(in[1])) {
            return {DecodeStatus::Invalid};
        }
        const unsigned char code[] = {m_singleShift, Shifted(in[0]), Shifted(in[1])};
        const std::size_t length = m_singleShift == 0 ? 2 : 3;
        const Decoded decoded = m_euc->Decode(code + sizeof code - length, length);
        if (decoded.status != DecodeStatus::Character) {
            return {DecodeStatus::Invalid};
        }
        return {DecodeStatus::Character, 2, decoded.character};
    }

private:
    static bool IsCodeByte(unsigned char byte) { return byte > 0x20 && byte < 0x7F; }
    static unsigned char Shifted(unsigned char byte) { return static_cast<unsigned char>(byte | 0x80U); }

    const std::unique_ptr<Decoder> m_euc;
    const unsigned char m_singleShift;
};

class Bare94Encoder final : public Encoder {
public:
    Bare94Encoder(std::unique_ptr<Encoder> euc, unsigned char singleShift)
        : m_euc(std::move(euc)), m_singleShift(singleShift) {}

    Encoded Encode(char32_t character, unsigned char* out, std::size_t room) override {
        unsigned char code[4] = {};
        const Encoded encoded = m_euc->Encode(character, code, sizeof code);
        const std::size_t prefix = m_singleShift == 0 ? 0 : 1;
        const bool inSet = encoded.status == EncodeStatus::Written && encoded.written == prefix + 2 &&
                           (prefix == 0 || code[0] == m_singleShift) && code[prefix] > 0xA0;
        if (!inSet) {
            return {EncodeStatus::Unrepresentable};
        }
        if (room < 2) {
            return {EncodeStatus::NoRoom};
        }
        out[0] = code[prefix] & 0x7FU;
        out[1] = code[prefix + 1] & 0x7FU;
        return {EncodeStatus::Written, 2};
    }

private:
    const std::unique_ptr<Encoder> m_euc;
    const unsigned char m_singleShift;
};

class HzDecoder final : public Decoder {
public:
    explicit HzDecoder(std::unique_ptr<Decoder> twoByte) : m_twoByte(std::move(twoByte)) {}

    Decoded Decode(const unsigned char* in, std::size_t left) override {
        if (in[0] == '~') {
            return left < 2 ? Decoded{DecodeStatus::Incomplete} : Escape(in[1]);
        }
        if (m_inTwoByte) {
            return m_twoByte->Decode(in, left);
        }
        return {DecodeStatus::Character, 1, in[0]}; // bytes beyond ASCII included: read as Latin-1
    }

private:
    Decoded Escape(unsigned char what) {
        if (what == '~' && !m_inTwoByte) {
            return {DecodeStatus::Character, 2, '~'};
        }
        if (what == '\n' && !m_inTwoByte) { // a line that goes on
            return {DecodeStatus::Shift, 2};
        }
        const unsigned char end = m_inTwoByte ? '}' : '{';
        if (what != end) {
            return {DecodeStatus::Invalid};
        }
        m_inTwoByte = !m_inTwoByte;
        return {DecodeStatus::Shift, 2};
    }

    const std::unique_ptr<Decoder> m_twoByte;
    bool m_inTwoByte = false;
};

class HzEncoder final : public Encoder {
public:
    explicit HzEncoder(std::unique_ptr<Encoder> twoByte) : m_twoByte(std::move(twoByte)) {}

    Encoded Encode(char32_t character, unsigned char* out, std::size_t room) override {
        // Deliberate: GNU libiconv doesn't double the "~" that it writes, although it reads "~~" as one.
        unsigned char code[4] = {static_cast<unsigned char>(character)};
        std::size_t length = 1;
        const bool twoByte = character >= 0x80;
        if (twoByte) {
            const Encoded encoded = m_twoByte->Encode(character, code, sizeof code);
            if (encoded.status != EncodeStatus::Written) {
                return encoded;
            }
            length = encoded.written;
        }
        const std::size_t shift = twoByte == m_inTwoByte ? 0 : 2;
        if (room < shift + length) {
            return {EncodeStatus::NoRoom};
        }
        if (shift != 0) {
            std::memcpy(out, twoByte ? "~{" : "~}", shift);
        }
        m_inTwoByte = twoByte;
        std::memcpy(out + shift, code, length);
        return {EncodeStatus::Written, shift + length};
    }

private:
    const std::unique_ptr<Encoder> m_twoByte;
    bool m_inTwoByte = false;
};

} // namespace

std::unique_ptr<Decoder> MakeBare94Decoder(Bare94 set) {
    auto euc = MakeLibcDecoder(set.eucName, {});
    return euc ? std::make_unique<Bare94Decoder>(std::move(euc), set.singleShift) : nullptr;
}

std::unique_ptr<Encoder> MakeBare94Encoder(Bare94 set) {
    auto euc = MakeLibcEncoder(set.eucName, {});
    return euc ? std::make_unique<Bare94Encoder>(std::move(euc), set.singleShift) : nullptr;
}

std::unique_ptr<Decoder> MakeHzDecoder() {
    auto twoByte = MakeBare94Decoder(GB2312);
    return twoByte ? std::make_unique<HzDecoder>(std::move(twoByte)) : nullptr;
}

std::unique_ptr<Encoder> MakeHzEncoder() {
    auto twoByte = MakeBare94Encoder(GB2312);
    return twoByte ? std::make_unique<HzEncoder>(std::move(twoByte)) : nullptr;
}

} // namespace iconvadapter
