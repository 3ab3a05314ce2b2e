// SPDX-License-Identifier: Apache-2.0
/// @file
/// The frame of a chunked body: sizes, extensions, trailers (RFC 9112, 7.1).
#pragma once

#include <cstddef>
#include <cstdint>

#include "http1/GrammarError.h"

namespace httpclient::http1 {

/// Reads what stands around the data of chunks. Extensions and trailers are checked and dropped.
class ChunkReader {
public:
    /// The most bytes of one chunk's line: size, extensions and line break.
    static constexpr std::size_t MAX_LINE = 4096;

    struct Outcome {
        std::size_t consumed; ///< bytes of the frame; what follows is data where left() is not 0
        GrammarError error;   ///< 0: none
    };

    /// @param trailerLimit the most bytes of the trailers, the empty line after them included.
    explicit ChunkReader(std::size_t trailerLimit) noexcept : m_trailerLimit(trailerLimit) {}

    /// Reads the frame until data comes, the body ends, or the bytes do.
    Outcome Advance(const char* data, std::size_t size) noexcept;
    /// @return how many bytes of the chunk's data are still to come.
    std::uint64_t left() const noexcept { return m_left; }
    /// So many bytes of data were taken.
    void Take(std::uint64_t size) noexcept { m_left -= size; }
    /// @return whether the body is whole, trailers included.
    bool ended() const noexcept { return m_state == State::Ended; }

private:
    /// What comes next.
    enum class State {
        // the chunk's line
        FirstDigit,
        Digits,
        ExtensionMark,  ///< blanks, and the ";" that has to follow them
        ExtensionStart, ///< blanks, and the first byte of a name
        ExtensionName,
        ExtensionEquals, ///< blanks, and the "=" or ";" that has to follow them
        ValueStart,      ///< blanks, and the first byte of a value
        ValueToken,
        ValueQuoted,
        ValueEscaped, ///< after a backslash
        ValueEnd,     ///< after the closing quote
        LineEnd,      ///< LF
        // after the data
        DataReturn,
        DataFeed,
        // the trailers
        FirstTrailer,
        Trailer, ///< the beginning of a line, which may also be a fold
        TrailerName,
        TrailerValue,
        TrailerFeed,
        LastFeed,
        Ended
    };

    GrammarError Step(char byte) noexcept;
    GrammarError StepSize(char byte) noexcept;
    GrammarError StepExtensionName(char byte) noexcept;
    GrammarError StepExtensionValue(char byte) noexcept;
    GrammarError StepLineBreak(char byte) noexcept;
    GrammarError StepTrailer(char byte) noexcept;
    GrammarError EndExtension(char byte) noexcept;
    GrammarError Expect(char byte, char wanted, State next, GrammarError otherwise) noexcept;

    std::uint64_t m_left = 0; ///< 0 unless the data is next
    std::uint64_t m_size = 0; ///< of the chunk whose line is read
    std::size_t m_trailerLimit;
    std::size_t m_seen = 0; ///< bytes of this chunk's line, or of the trailers
    State m_state = State::FirstDigit;
};

} // namespace httpclient::http1
