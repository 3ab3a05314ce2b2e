// SPDX-License-Identifier: Apache-2.0
#include "TemporaryDirectory.h"

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>

TemporaryDirectory::TemporaryDirectory() {
    std::string name = std::filesystem::temp_directory_path() / "platform_test_XXXXXX";
    if (mkdtemp(name.data()) == nullptr) {
        throw std::runtime_error("no temporary directory");
    }
    m_path = name;
}

TemporaryDirectory::~TemporaryDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

void WriteFile(const std::filesystem::path& path, const std::string& content) {
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << content;
}

std::string ReadFile(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}
