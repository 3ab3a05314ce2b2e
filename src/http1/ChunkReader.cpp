// SPDX-License-Identifier: Apache-2.0
#include "http1/ChunkReader.h"

#include <limits>

#include "http1/Bytes.h"

namespace httpclient::http1 {
namespace {

constexpr std::uint64_t MAX_CHUNK = std::numeric_limits<std::int64_t>::max();

/// @return the value of a hexadecimal digit; -1 for another byte.
int HexValue(char byte) noexcept {
    if (IsDigit(byte)) {
        return byte - '0';
    }
    const char lower = LowerOf(byte);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

/// @return what is wrong with a byte that does not belong where it stands.
GrammarError Misplaced(char byte, GrammarError otherwise) noexcept {
    return byte == '\n' ? GrammarError::BadLineBreak : otherwise;
}

} // namespace

ChunkReader::Outcome ChunkReader::Advance(const char* data, std::size_t size) noexcept {
    std::size_t at = 0;
    while (at < size && m_left == 0 && m_state != State::Ended) {
        if (m_state <= State::LineEnd && ++m_seen > MAX_LINE) {
            return {at, GrammarError::BadChunk};
        }
        if (m_state >= State::FirstTrailer && ++m_seen > m_trailerLimit) {
            return {at, GrammarError::TrailersTooLarge};
        }
        if (const GrammarError error = Step(data[at]); error != GrammarError{}) {
            return {at, error};
        }
        ++at;
    }
    return {at, {}};
}

GrammarError ChunkReader::Step(char byte) noexcept {
    if (m_state <= State::Digits) {
        return StepSize(byte);
    }
    if (m_state <= State::ExtensionEquals) {
        return StepExtensionName(byte);
    }
    if (m_state <= State::ValueEnd) {
        return StepExtensionValue(byte);
    }
    return m_state <= State::DataFeed ? StepLineBreak(byte) : StepTrailer(byte);
}

GrammarError ChunkReader::StepSize(char byte) noexcept {
    const int digit = HexValue(byte);
    if (digit >= 0) {
        if (m_size > MAX_CHUNK / 16) {
            return GrammarError::BadChunk;
        }
        m_size = m_size * 16 + static_cast<unsigned>(digit);
        m_state = State::Digits;
        return {};
    }
    return m_state == State::Digits ? EndExtension(byte) : Misplaced(byte, GrammarError::BadChunk);
}

/// After the size, or after a whole extension.
GrammarError ChunkReader::EndExtension(char byte) noexcept {
    if (byte == '\r') {
        m_state = State::LineEnd;
    } else if (byte == ';') {
        m_state = State::ExtensionStart;
    } else if (IsBlank(byte)) {
        m_state = State::ExtensionMark;
    } else {
        return Misplaced(byte, GrammarError::BadChunk);
    }
    return {};
}

GrammarError ChunkReader::StepExtensionName(char byte) noexcept {
    if (IsBlank(byte)) {
        if (m_state == State::ExtensionName) {
            m_state = State::ExtensionEquals;
        }
        return {};
    }
    if (m_state == State::ExtensionMark) {
        return Expect(byte, ';', State::ExtensionStart, GrammarError::BadChunk);
    }
    if (m_state != State::ExtensionEquals && Is(byte, TokenByte)) {
        m_state = State::ExtensionName;
        return {};
    }
    if (m_state == State::ExtensionStart) {
        return Misplaced(byte, GrammarError::BadChunk);
    }
    if (byte == '=') {
        m_state = State::ValueStart;
        return {};
    }
    // No blanks before the end of the line: only before a ";" or "=".
    return m_state == State::ExtensionEquals
               ? Expect(byte, ';', State::ExtensionStart, GrammarError::BadChunk)
               : EndExtension(byte);
}

GrammarError ChunkReader::StepExtensionValue(char byte) noexcept {
    switch (m_state) {
    case State::ValueStart:
        if (IsBlank(byte)) {
            return {};
        }
        if (byte == '"') {
            m_state = State::ValueQuoted;
            return {};
        }
        if (!Is(byte, TokenByte)) {
            return Misplaced(byte, GrammarError::BadChunk);
        }
        m_state = State::ValueToken;
        return {};
    case State::ValueToken:
        return Is(byte, TokenByte) ? GrammarError{} : EndExtension(byte);
    case State::ValueQuoted:
        if (Is(byte, QuotedByte)) {
            return {};
        }
        if (byte == '\\') {
            m_state = State::ValueEscaped;
            return {};
        }
        return Expect(byte, '"', State::ValueEnd, GrammarError::BadChunk);
    case State::ValueEscaped:
        m_state = State::ValueQuoted;
        return Is(byte, ValueByte) ? GrammarError{} : Misplaced(byte, GrammarError::BadChunk);
    default:
        return EndExtension(byte);
    }
}

GrammarError ChunkReader::StepLineBreak(char byte) noexcept {
    if (m_state == State::DataReturn) {
        return Expect(byte, '\r', State::DataFeed, GrammarError::BadChunk);
    }
    if (m_state == State::DataFeed) {
        m_size = 0;
        m_seen = 0;
        return Expect(byte, '\n', State::FirstDigit, GrammarError::BadLineBreak);
    }
    m_seen = 0;
    m_left = m_size;
    return Expect(byte, '\n', m_size == 0 ? State::FirstTrailer : State::DataReturn,
                  GrammarError::BadLineBreak);
}

GrammarError ChunkReader::StepTrailer(char byte) noexcept {
    switch (m_state) {
    case State::FirstTrailer:
    case State::Trailer:
        if (byte == '\r') {
            m_state = State::LastFeed;
            return {};
        }
        if (m_state == State::Trailer && IsBlank(byte)) {
            m_state = State::TrailerValue; // folded; dropped like the rest
            return {};
        }
        m_state = State::TrailerName;
        return Is(byte, TokenByte) ? GrammarError{} : Misplaced(byte, GrammarError::BadTrailer);
    case State::TrailerName:
        return Is(byte, TokenByte) ? GrammarError{}
                                   : Expect(byte, ':', State::TrailerValue, GrammarError::BadTrailer);
    case State::TrailerValue:
        return Is(byte, ValueByte) ? GrammarError{}
                                   : Expect(byte, '\r', State::TrailerFeed, GrammarError::BadTrailer);
    case State::TrailerFeed:
        return Expect(byte, '\n', State::Trailer, GrammarError::BadLineBreak);
    default:
        return Expect(byte, '\n', State::Ended, GrammarError::BadLineBreak);
    }
}

GrammarError ChunkReader::Expect(char byte, char wanted, State next, GrammarError otherwise) noexcept {
    if (byte != wanted) {
        return Misplaced(byte, otherwise);
    }
    m_state = next;
    return {};
}

} // namespace httpclient::http1
