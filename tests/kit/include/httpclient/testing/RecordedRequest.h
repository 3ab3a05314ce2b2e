// SPDX-License-Identifier: Apache-2.0
/// @file
/// A request as a test server received it.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace httpclient::testing {

/// A request as a test server received it. A plain value.
struct RecordedRequest {
    std::string raw;                      ///< Every byte as it came: request line, header lines, body.
    std::string method;                   ///< First word of the request line.
    std::string target;                   ///< Second word of the request line: path and query.
    std::string version;                  ///< Third word of the request line, as in "HTTP/1.1".
    std::vector<std::string> headerLines; ///< Header lines in order, as they came, without their line ends.
    std::string body;                     ///< The body; chunks joined.
    unsigned int connection = 0;          ///< Which connection of the server it came on, counted from 1.
    unsigned int number = 0;              ///< Which request of that connection it is, counted from 1.
    std::string peerSubject; ///< Subject of the client certificate, as in "CN=client"; "" without one.

    /// @return the value of the first header line of this name (case ignored), without the blanks around it;
    ///         nothing when there is none.
    std::optional<std::string> Header(std::string_view name) const;
    /// @return how many header lines have this name (case ignored).
    std::size_t HeaderCount(std::string_view name) const;
};

} // namespace httpclient::testing
