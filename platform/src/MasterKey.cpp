// SPDX-License-Identifier: Apache-2.0
#include "MasterKey.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <string_view>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <openssl/rand.h>

#include <vorncipher/VornMasterKey.h>

#include "VornCipherBase64.h"

namespace vorn {
namespace {

// A master key file is one line: this prefix and the key in base64url.
constexpr std::string_view FILE_PREFIX = "vornkey1:";
constexpr std::size_t FILE_SIZE_LIMIT = 128; // anything longer is no master key file
constexpr mode_t OTHERS = S_IRWXG | S_IRWXO;

/// A file descriptor that closes itself.
class Descriptor {
public:
    explicit Descriptor(int fd) : m_fd(fd) {}
    ~Descriptor() {
        if (m_fd >= 0) {
            close(m_fd);
        }
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int Get() const { return m_fd; }

private:
    int m_fd;
};

bool IsOurs(const struct stat& status) {
    return status.st_uid == geteuid() || status.st_uid == 0;
}

/// Looks at the open file, not at its path: what is checked is what is read.
VornStatus CheckOpenFile(int fd) {
    struct stat status {};
    if (fstat(fd, &status) != 0) {
        return VORN_KEY_FILE_UNREADABLE;
    }
    if (!S_ISREG(status.st_mode)) {
        return VORN_KEY_FILE_NOT_REGULAR;
    }
    if (!IsOurs(status)) {
        return VORN_KEY_FILE_FOREIGN;
    }
    return (status.st_mode & OTHERS) == 0 ? VORN_OK : VORN_KEY_FILE_OPEN_TO_OTHERS;
}

/// Reads up to FILE_SIZE_LIMIT bytes.
bool ReadContent(int fd, Bytes& content) {
    Bytes buffer(FILE_SIZE_LIMIT);
    std::size_t have = 0;
    while (have < buffer.size()) {
        const ssize_t got = read(fd, buffer.data() + have, buffer.size() - have);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got < 0) {
            return false;
        }
        if (got == 0) {
            break;
        }
        have += static_cast<std::size_t>(got);
    }
    buffer.resize(have);
    content = std::move(buffer);
    return true;
}

VornStatus ParseContent(const Bytes& content, Bytes& key) {
    std::size_t end = content.size();
    if (end > 0 && content[end - 1] == '\n') { // an editor's or the maker's final line end
        --end;
    }
    if (end < FILE_PREFIX.size() || !std::equal(FILE_PREFIX.begin(), FILE_PREFIX.end(), content.begin())) {
        return VORN_KEY_FILE_MALFORMED;
    }
    Bytes decoded;
    if (!FromBase64Url(content.data() + FILE_PREFIX.size(), end - FILE_PREFIX.size(), decoded) ||
        decoded.size() != MASTER_KEY_SIZE) {
        return VORN_KEY_FILE_MALFORMED;
    }
    key = std::move(decoded);
    return VORN_OK;
}

std::string DirectoryOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos) {
        return ".";
    }
    return slash == 0 ? "/" : path.substr(0, slash);
}

/// Safe when nobody but us and root can replace a file in it.
VornStatus CheckDirectory(const std::string& directory) {
    struct stat status {};
    if (stat(directory.c_str(), &status) != 0 || !S_ISDIR(status.st_mode)) {
        return VORN_KEY_FILE_UNWRITABLE;
    }
    const bool othersWrite = (status.st_mode & (S_IWGRP | S_IWOTH)) != 0;
    const bool sticky = (status.st_mode & S_ISVTX) != 0; // others may add files, but not touch ours
    return IsOurs(status) && (!othersWrite || sticky) ? VORN_OK : VORN_KEY_DIRECTORY_UNSAFE;
}

VornStatus NewContent(Bytes& content) {
    Bytes key(MASTER_KEY_SIZE);
    if (RAND_priv_bytes(key.data(), static_cast<int>(key.size())) != 1) {
        return VORN_CRYPTO_FAILED;
    }
    const Bytes text = ToBase64Url(key);
    content.reserve(FILE_SIZE_LIMIT); // grown in place: no copy of the key left on the way
    content.assign(FILE_PREFIX.begin(), FILE_PREFIX.end());
    content.insert(content.end(), text.begin(), text.end());
    content.push_back('\n');
    return VORN_OK;
}

bool WriteContent(int fd, const Bytes& content) {
    std::size_t done = 0;
    while (done < content.size()) {
        const ssize_t put = write(fd, content.data() + done, content.size() - done);
        if (put < 0 && errno != EINTR) {
            return false;
        }
        done += put > 0 ? static_cast<std::size_t>(put) : 0;
    }
    return fsync(fd) == 0;
}

/// So that the file's name survives a crash, not only its content.
bool SyncDirectory(const std::string& directory) {
    const Descriptor fd(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return fd.Get() >= 0 && fsync(fd.Get()) == 0;
}

} // namespace

std::string MasterKeyPath() {
    const char* value = std::getenv("VORN_KEY_FILE");
    return value == nullptr ? std::string() : std::string(value);
}

VornStatus ReadMasterKey(const std::string& path, Bytes& key) {
    if (path.empty()) {
        return VORN_KEY_FILE_UNSET;
    }
    // O_NONBLOCK: opening a pipe by mistake answers instead of waiting for a writer.
    const Descriptor fd(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
    if (fd.Get() < 0) {
        return VORN_KEY_FILE_UNREADABLE;
    }
    const VornStatus safe = CheckOpenFile(fd.Get());
    if (safe != VORN_OK) {
        return safe;
    }
    Bytes content;
    return ReadContent(fd.Get(), content) ? ParseContent(content, key) : VORN_KEY_FILE_UNREADABLE;
}

VornStatus MakeMasterKey(const std::string& path) {
    if (path.empty()) {
        return VORN_KEY_FILE_UNSET;
    }
    const std::string directory = DirectoryOf(path);
    VornStatus status = CheckDirectory(directory);
    if (status != VORN_OK) {
        return status;
    }
    Bytes content;
    status = NewContent(content);
    if (status != VORN_OK) {
        return status;
    }
    const Descriptor fd(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR));
    if (fd.Get() < 0) {
        return errno == EEXIST ? VORN_KEY_FILE_EXISTS : VORN_KEY_FILE_UNWRITABLE;
    }
    // The mode is set again, since an odd umask may have taken even the owner's bits.
    if (fchmod(fd.Get(), S_IRUSR | S_IWUSR) != 0 || !WriteContent(fd.Get(), content) ||
        !SyncDirectory(directory)) {
        unlink(path.c_str());
        return VORN_KEY_FILE_UNWRITABLE;
    }
    return VORN_OK;
}

} // namespace vorn

int VornMasterKey::Make(const std::string& path) {
    return vorn::MakeMasterKey(path);
}

int VornMasterKey::Check(const std::string& path) {
    vorn::Bytes key;
    return vorn::ReadMasterKey(path, key);
}
