// SPDX-License-Identifier: Apache-2.0
#include "Files.h"

#include <cstdio>
#include <filesystem>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Failure.h"

namespace {

constexpr std::size_t LONGEST_FILE = std::size_t{16} << 20;
constexpr mode_t MODE_BITS = 07777;

/// An open file that closes itself; its failures name its path.
class File {
public:
    File(int fd, std::string path) : m_fd(fd), m_path(std::move(path)) {
        if (m_fd < 0) {
            throw Failure::FromErrno(m_path);
        }
    }
    ~File() { close(m_fd); }
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    int Get() const { return m_fd; }

    void Require(bool success) const {
        if (!success) {
            throw Failure::FromErrno(m_path);
        }
    }

    void WriteAll(const std::string& content) const {
        std::size_t done = 0;
        while (done < content.size()) {
            const ssize_t put = write(m_fd, content.data() + done, content.size() - done);
            Require(put >= 0 || errno == EINTR);
            done += put > 0 ? static_cast<std::size_t>(put) : 0;
        }
        Require(fsync(m_fd) == 0);
    }

private:
    int m_fd;
    std::string m_path;
};

/// Removes a half-made file unless told that it is kept.
class Provisional {
public:
    explicit Provisional(std::string path) : m_path(std::move(path)) {}
    ~Provisional() {
        if (!m_path.empty()) {
            unlink(m_path.c_str());
        }
    }
    Provisional(const Provisional&) = delete;
    Provisional& operator=(const Provisional&) = delete;
    void Keep() { m_path.clear(); }

private:
    std::string m_path;
};

std::string RealPath(const std::string& path) {
    std::error_code error;
    const std::filesystem::path real = std::filesystem::canonical(path, error);
    if (error) {
        throw Failure(path + ": " + error.message());
    }
    return real.string();
}

} // namespace

std::string ReadFile(const std::string& path) {
    // O_NONBLOCK: a pipe in a file's place answers at once.
    const File file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK), path);
    struct stat status {};
    file.Require(fstat(file.Get(), &status) == 0);
    if (!S_ISREG(status.st_mode)) {
        throw Failure(path + ": not a regular file");
    }
    std::string content;
    char buffer[16384];
    for (;;) {
        const ssize_t got = read(file.Get(), buffer, sizeof buffer);
        file.Require(got >= 0 || errno == EINTR);
        if (got == 0) {
            return content;
        }
        content.append(buffer, got > 0 ? static_cast<std::size_t>(got) : 0);
        if (content.size() > LONGEST_FILE) {
            throw Failure(path + ": too long to be right");
        }
    }
}

void WriteNewFile(const std::string& path, const std::string& content, mode_t mode) {
    const File file(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR), path);
    Provisional made(path);
    file.WriteAll(content);
    file.Require(fchmod(file.Get(), mode) == 0); // whatever the umask says
    made.Keep();
}

void SyncNameOf(const std::string& path) {
    std::string directory = std::filesystem::path(path).parent_path().string();
    if (directory.empty()) {
        directory = ".";
    }
    const File opened(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC), directory);
    opened.Require(fsync(opened.Get()) == 0);
}

void ReplaceFile(const std::string& path, const std::string& content) {
    const std::string real = RealPath(path);
    struct stat status {};
    if (stat(real.c_str(), &status) != 0) {
        throw Failure::FromErrno(path);
    }
    std::string temporary = real + ".XXXXXX"; // in the same directory, as renaming wants the same file system
    const File file(mkostemp(temporary.data(), O_CLOEXEC), temporary);
    Provisional made(temporary);
    // Owner before mode: changing the owner may take bits of the mode away.
    const bool ownerKept = status.st_uid == geteuid() && status.st_gid == getegid();
    file.Require(ownerKept || fchown(file.Get(), status.st_uid, status.st_gid) == 0);
    file.Require(fchmod(file.Get(), status.st_mode & MODE_BITS) == 0);
    file.WriteAll(content);
    file.Require(rename(temporary.c_str(), real.c_str()) == 0);
    made.Keep();
    SyncNameOf(real);
}
