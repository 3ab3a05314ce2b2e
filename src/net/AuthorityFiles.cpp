// SPDX-License-Identifier: Apache-2.0
#include "net/AuthorityFiles.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <memory>
#include <string_view>

#include <dirent.h>

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

struct DirectoryEnd {
    void operator()(DIR* directory) const { closedir(directory); }
};

/// @return the name of the next entry; null at the end, or where there is an error.
const char* NextName(DIR* directory, std::error_code& error) {
    errno = 0;
    const dirent* const entry = readdir(directory);
    if (entry == nullptr) {
        error.assign(errno, std::system_category());
        return nullptr;
    }
    return entry->d_name;
}

} // namespace

SystemAuthorities::SystemAuthorities()
    : file(Setting(X509_get_default_cert_file_env(), X509_get_default_cert_file())),
      directories(Split(Setting(X509_get_default_cert_dir_env(), X509_get_default_cert_dir()))) {}

// Not by the standard library's iterator: where there is no memory for a name, it ends the process.
std::vector<std::string> HashedFiles(const std::string& directory, std::error_code& error) {
    std::vector<std::string> files;
    const std::unique_ptr<DIR, DirectoryEnd> entries(opendir(directory.c_str()));
    if (!entries) {
        error.assign(errno, std::system_category());
        return files;
    }
    const std::string beginning = !directory.empty() && directory.back() == '/' ? directory : directory + '/';
    error.clear();
    while (const char* const name = NextName(entries.get(), error)) {
        if (IsHashed(name)) {
            files.push_back(beginning + name);
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

} // namespace httpclient::net
