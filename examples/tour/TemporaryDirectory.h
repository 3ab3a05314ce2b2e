// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace tour {

/// A directory of this user's alone, which goes with all that is in it.
class TemporaryDirectory {
public:
    TemporaryDirectory();
    ~TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    const std::string& Path() const { return m_path; }

private:
    std::string m_path;
};

} // namespace tour
