// SPDX-License-Identifier: Apache-2.0
#include "net/AuthorityFiles.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string_view>

#include <openssl/x509.h>

namespace httpclient::net {

namespace {

constexpr std::size_t HASH_DIGITS = 8;

/// @return a variable's value, which is empty where it is set to nothing; else the default.
std::string Setting(const char* variable, const char* otherwise) {
    const char* const value = secure_getenv(variable); // as OpenSSL reads it
    return value != nullptr ? value : otherwise;
}

std::vector<std::string> Split(const std::string& list) {
    std::vector<std::string> parts;
    for (std::size_t begin = 0; begin <= list.size();) {
        const std::size_t end = std::min(list.find(':', begin), list.size());
        if (end > begin) {
            parts.push_back(list.substr(begin, end - begin));
        }
        begin = end + 1;
    }
    return parts;
}

/// Whether a name is like "2e5ac55d.0".
bool IsHashed(std::string_view name) {
    return name.size() > HASH_DIGITS + 1 && name[HASH_DIGITS] == '.' &&
           name.find_first_not_of("0123456789abcdef") == HASH_DIGITS &&
           name.find_first_not_of("0123456789", HASH_DIGITS + 1) == std::string_view::npos;
}

} // namespace

SystemAuthorities::SystemAuthorities()
    : file(Setting(X509_get_default_cert_file_env(), X509_get_default_cert_file())),
      directories(Split(Setting(X509_get_default_cert_dir_env(), X509_get_default_cert_dir()))) {}

std::vector<std::string> HashedFiles(const std::string& directory, std::error_code& error) {
    std::vector<std::string> files;
    const std::filesystem::directory_iterator end;
    for (std::filesystem::directory_iterator entry(directory, error); !error && entry != end;
         entry.increment(error)) {
        if (IsHashed(entry->path().filename().native())) {
            files.push_back(entry->path().native());
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

} // namespace httpclient::net
