// SPDX-License-Identifier: Apache-2.0
/// @file
/// The head of an answer: status and fields, over the text that was received.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace httpclient::http1 {

/// Status and fields of one answer. The text is kept once; fields are places in it.
///
/// @par Performance
/// Up to 24 fields need no memory beside the text.
class ResponseHead {
public:
    int status = 0;

    // Not defaulted: the places are not to be filled with zeros.
    ResponseHead() noexcept {} // NOLINT(modernize-use-equals-default)

    std::size_t size() const noexcept { return m_size; }
    /// @param index below size().
    std::pair<std::string_view, std::string_view> at(std::size_t index) const noexcept;
    /// @return the value of the first field of a name, in any case.
    std::optional<std::string_view> find(std::string_view name) const noexcept;
    /// @return the values of all fields of a name, in any case.
    std::vector<std::string_view> findAll(std::string_view name) const;
    /// @return status line and fields as they were received, line ends included; folded lines are joined.
    std::string_view text() const noexcept { return m_text; }

    // For the reader that fills it.

    /// @return the text to be filled, before the first Add().
    std::string& Text() noexcept { return m_text; }
    /// Empties it; keeps the memory.
    void Clear() noexcept;
    /// Notes a field. @param name,value views into the text.
    void Add(std::string_view name, std::string_view value);

private:
    struct Place {
        std::uint32_t nameAt;
        std::uint32_t nameSize;
        std::uint32_t valueAt;
        std::uint32_t valueSize;
    };
    static constexpr std::size_t FEW = 24;

    const Place& PlaceOf(std::size_t index) const noexcept {
        return index < FEW ? m_few[index] : m_more[index - FEW]; // cppcheck-suppress returnTempReference
    }
    std::string_view NameAt(std::size_t index) const noexcept;
    std::string_view ValueAt(std::size_t index) const noexcept;

    std::string m_text;
    std::size_t m_size = 0;
    std::array<Place, FEW> m_few;
    std::vector<Place> m_more;
};

} // namespace httpclient::http1
