// SPDX-License-Identifier: Apache-2.0
/// @file
/// Gathers the bytes of an answer's head until it is whole.
#pragma once

#include <cstddef>
#include <string>

#include "http1/GrammarError.h"

namespace httpclient::http1 {

/// Finds the end of a head that comes in pieces, and refuses at once what can be no head: another protocol, a bare
/// CR or LF, blanks before the first field, too many bytes.
class HeadCollector {
public:
    struct Outcome {
        std::size_t consumed;
        bool whole;         ///< the head is there, the empty line included; folded lines are joined
        GrammarError error; ///< 0: none
    };

    /// @param text what was gathered so far; grows by the bytes that are the head's.
    /// @param limit the most bytes of a head.
    Outcome Feed(std::string& text, const char* data, std::size_t size, std::size_t limit);

private:
    GrammarError CheckBeginning(const char* data, std::size_t size) noexcept;

    std::size_t m_begun = 0;    ///< bytes of the beginning that were right
    std::size_t m_lines = 0;    ///< whole lines
    std::size_t m_lineSize = 0; ///< bytes of the line that is not whole
    char m_last = 0;            ///< the last of them
    bool m_folded = false;
};

} // namespace httpclient::http1
