// SPDX-License-Identifier: Apache-2.0
#include "StagedDirectory.h"

#include <cstdio>
#include <filesystem>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Failure.h"
#include "Files.h"

namespace {

constexpr mode_t OWNER_FILE = 0600;
constexpr mode_t GROUP_FILE = 0640;
constexpr mode_t OWNER_DIRECTORY = 0700;
constexpr mode_t GROUP_DIRECTORY = 0750;
constexpr uid_t SAME_OWNER = static_cast<uid_t>(-1);

void Require(bool success, const std::string& path) {
    if (!success) {
        throw Failure::FromErrno(path);
    }
}

} // namespace

StagedDirectory::StagedDirectory(const std::string& parent, const std::string& name, ReaderGroup readers)
    : m_final(parent + "/" + name), m_readers(readers) {
    struct stat status {};
    if (lstat(m_final.c_str(), &status) == 0) {
        throw Failure(m_final + ": is there already and is left as it is");
    }
    std::string staged = parent + "/." + name + ".XXXXXX";
    Require(mkdtemp(staged.data()) != nullptr, m_final);
    m_staged = staged;
}

StagedDirectory::~StagedDirectory() {
    if (!m_staged.empty()) {
        std::error_code ignored;
        std::filesystem::remove_all(m_staged, ignored);
    }
}

void StagedDirectory::Add(const std::string& name, const std::string& content) const {
    const std::string path = m_staged + "/" + name;
    WriteNewFile(path, content, m_readers ? GROUP_FILE : OWNER_FILE);
    Require(!m_readers || chown(path.c_str(), SAME_OWNER, *m_readers) == 0, path);
}

void StagedDirectory::Commit() {
    Require(!m_readers || chown(m_staged.c_str(), SAME_OWNER, *m_readers) == 0, m_staged);
    Require(chmod(m_staged.c_str(), m_readers ? GROUP_DIRECTORY : OWNER_DIRECTORY) == 0, m_staged);
    Require(renameat2(AT_FDCWD, m_staged.c_str(), AT_FDCWD, m_final.c_str(), RENAME_NOREPLACE) == 0, m_final);
    m_staged.clear();
    SyncNameOf(m_final);
}
