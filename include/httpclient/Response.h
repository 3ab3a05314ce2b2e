// SPDX-License-Identifier: Apache-2.0
/// @file
/// The answer to a call of httpclient::Client.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <httpclient/Export.h>
#include <httpclient/Timings.h>

namespace httpclient {

/// A whole, final answer: never a part of one. Move-only; one that was moved from has status 0 and is empty.
///
/// Header fields stay as they were received, also those that describe a coding which was undone
/// (ClientOptions::decompress()). Trailers are read and left out.
///
/// @par Ownership
/// Views are into this object and end with it, or when it is moved from.
///
/// @par Thread Safety
/// Like a std::string: several threads may read one object.
class HTTPCLIENT_EXPORT Response {
public:
    Response(Response&& other) noexcept;            ///< Moves.
    Response& operator=(Response&& other) noexcept; ///< Moves.
    Response(const Response&) = delete;
    Response& operator=(const Response&) = delete;
    ~Response();

    /// @return 200 to 599; 101 is never an outcome, other interim answers are skipped.
    int status() const noexcept;
    /// @return the number of header fields.
    std::size_t headerCount() const noexcept;
    /// @param index from 0, in the order of reception.
    /// @return name and value, as received, without the white space around the value.
    /// @throw std::out_of_range
    std::pair<std::string_view, std::string_view> header(std::size_t index) const&;
    /// @param name a field's name, in any case.
    /// @return the value of the first field of that name.
    std::optional<std::string_view> header(std::string_view name) const&;
    /// @param name a field's name, in any case.
    /// @return the values of all fields of that name, in the order of reception.
    std::vector<std::string_view> headerValues(std::string_view name) const&;
    std::pair<std::string_view, std::string_view> header(std::size_t index) const&& = delete;
    std::optional<std::string_view> header(std::string_view name) const&& = delete;
    std::vector<std::string_view> headerValues(std::string_view name) const&& = delete;

    /// @return the body's bytes, decoded; empty where a sink took them.
    const std::string& body() const& noexcept;
    const std::string& body() const&& = delete;
    /// @return the body's bytes, the caller's own.
    std::string body() &&;

    const Timings& timings() const noexcept; ///< @return how long each phase took.
    /// @return how often the request was sent: 1 unless it was sent again.
    int attempts() const noexcept;
    /// @return whether the answer came over a kept connection.
    bool reusedConnection() const noexcept;

    /// @cond INTERNAL
    class Body;
    explicit Response(std::unique_ptr<Body> body) noexcept;
    Body& internals() noexcept { return *m_body; }
    /// @endcond

private:
    std::unique_ptr<Body> m_body;
};

} // namespace httpclient
