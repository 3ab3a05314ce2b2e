// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <fstream>
#include <string>
#include <vector>

namespace tour {

/// What the library logs, read back from a file of the reference platform's.
///
/// Has to be made before anything is logged. Another platform may log elsewhere; then nothing is found here.
class TraceLog {
public:
    /// @param file where to log to.
    explicit TraceLog(const std::string& file);

    /// @return what was logged since the last call, as "[5] text": level and text.
    std::vector<std::string> Take();
    /// @return false while there is no log to read.
    bool IsThere();

private:
    std::string m_file;
    std::ifstream m_stream;
};

} // namespace tour
