// SPDX-License-Identifier: Apache-2.0
/// @file
/// How much of a body is to come.
#pragma once

#include <cstddef>
#include <string>

/// While it lives, bodies that this thread receives belong to the response whose header lines stand in a
/// text, so that room for a long one can be reserved when its first piece is there.
class ExpectedBody {
public:
    /// @param head receives the header lines; outlives this.
    explicit ExpectedBody(const std::string& head);
    ~ExpectedBody();
    ExpectedBody(const ExpectedBody&) = delete;
    ExpectedBody& operator=(const ExpectedBody&) = delete;

    /// @return the length that the last of the header lines announces; 0 when there is none, or when it is so
    /// long that the server's word does not do.
    static std::size_t Size();

private:
    const std::string* m_previous;
};
