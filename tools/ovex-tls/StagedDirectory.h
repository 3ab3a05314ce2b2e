// SPDX-License-Identifier: Apache-2.0
/// @file
/// A directory that appears under its name complete, or not at all.
#pragma once

#include <optional>
#include <string>

#include <sys/types.h>

/// Who may read what is laid out: the owner alone, or a group, too.
using ReaderGroup = std::optional<gid_t>;

class StagedDirectory {
public:
    /// Starts a directory `name` below `parent`, which must be there. @throw Failure when `name` exists.
    StagedDirectory(const std::string& parent, const std::string& name, ReaderGroup readers);
    /// Removes what was not committed.
    ~StagedDirectory();
    StagedDirectory(const StagedDirectory&) = delete;
    StagedDirectory& operator=(const StagedDirectory&) = delete;

    /// Adds a file: mode 0600, or 0640 when a group reads, too. @throw Failure
    void Add(const std::string& name, const std::string& content) const;

    /// Gives the directory its name. Never replaces anything. @throw Failure
    void Commit();

private:
    std::string m_final;
    std::string m_staged;
    ReaderGroup m_readers;
};
