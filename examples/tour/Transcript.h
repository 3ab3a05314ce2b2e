// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace tour {

/// How many promises were kept, and how many not.
struct Tally {
    int kept = 0;
    int broken = 0;
};

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
    /// What was checked so far.
    const Tally& Checks() const { return m_checks; }
    /// Adds what was checked elsewhere.
    void Add(const Tally& checks);
    /// The last line. @return true when everything held.
    bool Close(size_t stops);

private:
    Tally m_checks;
};

/// @return the text with everything but printable ASCII written as \r, \n or \xNN.
std::string Visible(const std::string& bytes);

} // namespace tour
