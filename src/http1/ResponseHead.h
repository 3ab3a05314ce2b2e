// SPDX-License-Identifier: Apache-2.0
/// @file
/// The head of an answer: status and fields, over the text that was received.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace httpclient::http1 {

/// Status and fields of one answer. The text is kept once; fields are places in it.
class ResponseHead {
public:
    int status = 0;

    std::size_t size() const noexcept;
    /// @param index below size().
    std::pair<std::string_view, std::string_view> at(std::size_t index) const noexcept;
    /// @return the value of the first field of a name, in any case.
    std::optional<std::string_view> find(std::string_view name) const noexcept;
    /// @return the values of all fields of a name, in any case.
    std::vector<std::string_view> findAll(std::string_view name) const;

    // For the reader that fills it: members or operations as it needs them.
};

} // namespace httpclient::http1
