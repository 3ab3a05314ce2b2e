// SPDX-License-Identifier: Apache-2.0
#include <cerrno>
#include <cstdlib>
#include <system_error>

#include <httpclient/testing/Environment.h>
#include <httpclient/testing/Files.h>

namespace httpclient::testing {

namespace {

std::optional<std::string> Variable(const std::string& name) {
    const char* value = std::getenv(name.c_str());
    return value != nullptr ? std::optional<std::string>(value) : std::nullopt;
}

} // namespace

ScopedEnvironment::ScopedEnvironment(std::string name, const std::string& value)
    : m_name(std::move(name)), m_former(Variable(m_name)) {
    setenv(m_name.c_str(), value.c_str(), 1);
}

ScopedEnvironment::ScopedEnvironment(std::string name) : m_name(std::move(name)), m_former(Variable(m_name)) {
    unsetenv(m_name.c_str());
}

ScopedEnvironment::~ScopedEnvironment() {
    if (m_former) {
        setenv(m_name.c_str(), m_former->c_str(), 1);
    } else {
        unsetenv(m_name.c_str());
    }
}

void ClearProxyEnvironment() {
    for (const char* name : {"http_proxy", "HTTP_PROXY", "https_proxy", "HTTPS_PROXY", "all_proxy",
                             "ALL_PROXY", "no_proxy", "NO_PROXY"}) {
        unsetenv(name);
    }
}

TemporaryDirectory::TemporaryDirectory() {
    std::string name = std::filesystem::temp_directory_path() / "httpclient-test-XXXXXX";
    if (mkdtemp(name.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), name);
    }
    m_path = name;
}

TemporaryDirectory::~TemporaryDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

std::filesystem::path TemporaryDirectory::Write(const std::filesystem::path& relative,
                                                std::string_view content) const {
    const std::filesystem::path path = m_path / relative;
    std::filesystem::create_directories(path.parent_path());
    WritePrivateFile(path, content);
    return path;
}

} // namespace httpclient::testing
