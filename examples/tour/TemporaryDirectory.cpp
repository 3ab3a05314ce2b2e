// SPDX-License-Identifier: Apache-2.0
#include "tour/TemporaryDirectory.h"

#include <cstdlib>
#include <filesystem>
#include <stdexcept>

namespace tour {

TemporaryDirectory::TemporaryDirectory() {
    std::string pattern = std::filesystem::temp_directory_path() / "httpclient-tour-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("cannot make a temporary directory");
    }
    m_path = pattern;
}

TemporaryDirectory::~TemporaryDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

} // namespace tour
