// SPDX-License-Identifier: Apache-2.0
/// @file
/// Cuts the bytes of an input into the pieces that a target wants.
#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>

/// Fields that end at a byte 0xFF. What is beyond the input's end is empty.
class Input {
public:
    explicit Input(std::string_view bytes) : m_left(bytes) {}

    bool AtEnd() const { return m_left.empty(); }
    /// Takes one byte; 0 at the end.
    unsigned char Byte() {
        if (AtEnd()) {
            return 0;
        }
        const auto byte = static_cast<unsigned char>(m_left.front());
        m_left.remove_prefix(1);
        return byte;
    }
    /// Takes one field.
    std::string Field() {
        const std::string_view::size_type end = m_left.find('\xff');
        const std::string_view field = m_left.substr(0, end);
        m_left.remove_prefix(end == std::string_view::npos ? m_left.size() : end + 1);
        return std::string(field);
    }
    /// Takes so many bytes as the next two say, whatever is in them.
    std::string Block() {
        const std::size_t high = Byte();
        const std::size_t low = Byte();
        const std::size_t size = std::min(high * 256 + low, m_left.size());
        std::string block(m_left.substr(0, size));
        m_left.remove_prefix(size);
        return block;
    }
    /// Takes all that is left, whatever is in it.
    std::string Rest() {
        const std::string_view rest = m_left;
        m_left = {};
        return std::string(rest);
    }

private:
    std::string_view m_left;
};
