// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace tour {

/// Writes the tour down for a reader, and keeps count of what was checked.
class Transcript {
public:
    void Heading(int number, const std::string& promise);
    void Note(const std::string& text);
    /// What was asked of the library.
    void Asked(const std::string& text);
    /// Bytes of the wire, line by line, marked ">" or "<"; what is no plain text is written as \xNN.
    void Wire(char mark, const std::string& bytes);
    /// A line of the library's log.
    void Logged(const std::string& line);
    /// What the library gave back.
    void Result(const std::string& text);
    /// What was to hold, and whether it did.
    void Checked(const std::string& what, bool holds);
    /// The last line. @return true when everything held.
    bool Close(size_t stops);

private:
    int m_kept = 0;
    int m_broken = 0;
};

/// @return the text with everything but printable ASCII written as \r, \n or \xNN.
std::string Visible(const std::string& bytes);

} // namespace tour
