// SPDX-License-Identifier: Apache-2.0
/// @file
/// A body that is kept in a text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace httpclient::http1 {

/// Appends a body to a text, bounded, and hands out room in the text to receive into.
///
/// Memory grows with what has arrived: at most 1 MiB ahead of it, or to twice as much, and never beyond what the body
/// may have.
class KeptBody {
public:
    /// @param text the body is appended to it. @param ceiling the most bytes of the body.
    /// @param known the ceiling is what the server said; otherwise it is the limit.
    void Open(std::string& text, std::uint64_t ceiling, bool known) noexcept;
    bool IsOpen() const noexcept { return m_text != nullptr; }
    /// @return how many bytes the body may still have.
    std::uint64_t left() const noexcept { return m_ceiling - (m_filled - m_start); }
    /// @param size at most left(). @throw std::bad_alloc
    void Append(const char* data, std::size_t size);
    /// @param size at most left(). @return that much room after what has arrived. @throw std::bad_alloc
    char* Room(std::size_t size);
    /// So many bytes were put into the room.
    void Filled(std::size_t size) noexcept { m_filled += size; }
    /// Gives back the room that was not used.
    void Trim() noexcept;

private:
    void Reserve(std::size_t needed);

    std::string* m_text = nullptr;
    std::size_t m_start = 0;
    std::size_t m_filled = 0; ///< of the text; what is beyond it is room
    std::uint64_t m_ceiling = 0;
    bool m_known = false;
};

} // namespace httpclient::http1
