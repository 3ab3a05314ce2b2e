// SPDX-License-Identifier: Apache-2.0
#include <cerrno>
#include <fstream>
#include <iterator>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

#include <httpclient/testing/Files.h>

#include "Descriptor.h"

namespace httpclient::testing {

void WritePrivateFile(const std::filesystem::path& path, std::string_view content) {
    std::filesystem::remove(path);
    const Descriptor file(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    if (!file) {
        throw std::system_error(errno, std::generic_category(), path);
    }
    while (!content.empty()) {
        const ssize_t written = write(file.get(), content.data(), content.size());
        if (written < 0 && errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), path);
        }
        content.remove_prefix(written < 0 ? 0 : static_cast<std::size_t>(written));
    }
}

std::string ReadFile(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

} // namespace httpclient::testing
