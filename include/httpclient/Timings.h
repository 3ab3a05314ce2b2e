// SPDX-License-Identifier: Apache-2.0
/// @file
/// How long the phases of a call took.
#pragma once

#include <chrono>

#include <httpclient/Export.h>

namespace httpclient {

enum class Phase;

/// How long each phase of a call took, on the monotonic clock. Phases of several attempts are added up.
///
/// @par Ownership
/// The one that Response::timings() or Failure::timings() refers to lives as long as that object; a copy is
/// the caller's own.
class HTTPCLIENT_EXPORT Timings {
public:
    /// Copies the times. @throw std::bad_alloc when memory is exhausted.
    Timings(const Timings& other);
    /// @copydoc Timings(const Timings&)
    Timings& operator=(const Timings& other);
    ~Timings();

    /// @return the time that the phase took; 0 where it did not happen. Head counts from the end of sending to
    ///         the first byte of the answer.
    std::chrono::nanoseconds of(Phase phase) const noexcept;
    /// @return the whole time of the call: at least the sum of its phases.
    std::chrono::nanoseconds total() const noexcept;

    /// @cond INTERNAL
    class Body;
    explicit Timings(const Body& borrowed) noexcept;
    /// @endcond

private:
    const Body* m_body; ///< Its own after a copy, else that of the response or failure around it.
};

} // namespace httpclient
